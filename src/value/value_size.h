// Entry count and total string bytes of a value, for limit checks.
#pragma once

#include <cstddef>

#include "qlczephra/value.h"

namespace qlczephra {

struct ValueSize {
  std::size_t values = 0;         // members and elements of all maps and lists inside
  std::size_t bytes = 0;          // of all keys and strings
  std::size_t longestKey = 0;     // bytes
  std::size_t longestString = 0;  // bytes
};

// Returns the size of a value, in time proportional to it.
[[nodiscard]] ValueSize valueSizeOf(const Value& value);

}  // namespace qlczephra
