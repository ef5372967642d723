// Copies of a few bytes, by loads and stores of fixed size that may overlap instead of a call.
#pragma once

#include <cstddef>
#include <cstring>

namespace qlczephra {

template <std::size_t width>
inline void copyEnds(const char* from, std::size_t size, char* to) noexcept {
  char end[width];
  std::memcpy(end, from + size - width, width);
  std::memcpy(to, from, width);
  std::memcpy(to + size - width, end, width);
}

// For 16 bytes at most. Nothing outside the two ranges is touched.
inline void copyShort(const char* from, std::size_t size, char* to) noexcept {
  if (size >= 8) {
    copyEnds<8>(from, size, to);
  } else if (size >= 4) {
    copyEnds<4>(from, size, to);
  } else {
    for (std::size_t i = 0; i < size; ++i) to[i] = from[i];
  }
}

// Quick up to 64 bytes, and right for any number.
inline void copyMedium(const char* from, std::size_t size, char* to) noexcept {
  constexpr std::size_t block = 16;
  if (size < block) {
    copyShort(from, size, to);
  } else if (size > 4 * block) {
    std::memcpy(to, from, size);
  } else {
    for (std::size_t at = 0; at + block <= size; at += block) std::memcpy(to + at, from + at, block);
    std::memcpy(to + size - block, from + size - block, block);
  }
}

}  // namespace qlczephra
