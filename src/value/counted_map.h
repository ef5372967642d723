// A map and how much it holds, so that the same map is not counted twice.
#pragma once

#include "qlczephra/value.h"
#include "value/extent.h"

namespace qlczephra {

struct CountedMap {
  Map map;
  Bulk bulk;

  // Takes and counts a map; false when it is the one that is here already.
  bool take(const Map& other) {
    if (other.sharesWith(map)) return false;
    bulk = extentOf(other);
    map = other;
    return true;
  }
};

}  // namespace qlczephra
