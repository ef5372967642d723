// How large a value is.
#pragma once

#include <cstddef>

#include "qlczephra/value.h"

namespace qlczephra {

// What adds up.
struct TotalSize {
  std::size_t values = 0;  // members and elements of all maps and lists inside
  std::size_t bytes = 0;   // of all keys and strings

  TotalSize& operator+=(const TotalSize& other) noexcept {
    values += other.values;
    bytes += other.bytes;
    return *this;
  }
  TotalSize& operator-=(const TotalSize& other) noexcept {
    values -= other.values;
    bytes -= other.bytes;
    return *this;
  }
  friend bool operator==(const TotalSize&, const TotalSize&) = default;
};

struct ValueSize : TotalSize {
  std::size_t longestKey = 0;
  std::size_t longestString = 0;
};

// Takes time in proportion to the value.
[[nodiscard]] ValueSize valueSizeOf(const Value& value);

}  // namespace qlczephra
