// What a list or map holds, as one row of values.
#pragma once

#include <cstddef>

#include "qlczephra/value.h"

namespace qlczephra {

struct ContainerView {
  const Value* first = nullptr;
  std::size_t count = 0;
};

inline ContainerView viewOf(const List& list) noexcept {
  return list.empty() ? ContainerView{} : ContainerView{list.begin(), list.size()};
}

// Each key, then its value.
inline ContainerView viewOf(const Map& map) noexcept {
  return map.empty() ? ContainerView{} : ContainerView{&map.begin().sharedKey(), map.size() * 2};
}

}  // namespace qlczephra
