// What a list or map holds, as one row of values.
#pragma once

#include <cstddef>

#include "qlczephra/value.h"

namespace qlczephra {

struct Content {
  const Value* first = nullptr;
  std::size_t count = 0;
};

inline Content contentOf(const List& list) noexcept {
  return list.empty() ? Content{} : Content{list.begin(), list.size()};
}

// Each key, then its value.
inline Content contentOf(const Map& map) noexcept {
  return map.empty() ? Content{} : Content{&map.begin().sharedKey(), map.size() * 2};
}

}  // namespace qlczephra
