// The characters that XML 1.0 allows, in UTF-8.
#pragma once

#include <cstddef>
#include <string_view>

namespace qlczephra::plist {

[[nodiscard]] constexpr bool isBlank(char byte) noexcept {
  return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r';
}

[[nodiscard]] constexpr bool isPrintableAscii(char byte) noexcept {
  return byte >= ' ' && static_cast<unsigned char>(byte) < 0x80;
}

// Returns the bytes of the well-formed and allowed character at `first`, 1 to 4; 0 when there is none before `last`.
[[nodiscard]] std::size_t characterLength(const char* first, const char* last) noexcept;

}  // namespace qlczephra::plist
