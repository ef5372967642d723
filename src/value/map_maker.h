// Makes maps of entries that stand ready, without the buffer of a Map::Builder.
#pragma once

#include <cstddef>

#include "qlczephra/value.h"

namespace qlczephra {

class MapMaker {
 public:
  using Slot = Map::Slot;

  // Moves the entries into a map. Their keys are strings, ascending, and no two of them equal.
  [[nodiscard]] static Map ofAscending(Slot* first, std::size_t count);
};

}  // namespace qlczephra
