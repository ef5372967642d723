// A map and how much it holds, so that the same map is not counted twice.
#pragma once

#include "qlczephra/value.h"
#include "value/value_size.h"

namespace qlczephra {

struct CountedMap {
  Map map;
  TotalSize size;

  // Takes and counts a map; false when it is the one that is here already.
  bool take(const Map& other) {
    if (other.sharesWith(map)) return false;
    size = valueSizeOf(other);
    map = other;
    return true;
  }
};

}  // namespace qlczephra
