// Visits a value and all that is inside, in order, on a stack of its own: any nesting is safe on any thread's stack.
#pragma once

#include <string_view>
#include <vector>

#include "qlczephra/value.h"

namespace qlczephra {

// The visitor's calls, each of which ends the walk by returning false:
//   bool scalar(const Value&)    a value that is neither list nor map
//   bool begin(const Value&)     a list or map, before its members
//   bool key(std::string_view)   before each member of a map
//   bool end(const Value&)       the same list or map, after its members
// True when the walk came to its end.
template <typename Visitor>
[[nodiscard]] bool visit(const Value& root, Visitor& visitor) {
  struct Level {
    const Value* container;
    List::const_iterator item{};
    Map::const_iterator entry{};
  };
  std::vector<Level> levels;
  const auto enter = [&](const Value& value) {
    if (value.list() == nullptr && value.map() == nullptr) return visitor.scalar(value);
    Level& level = levels.emplace_back(Level{&value});
    if (value.list() != nullptr) {
      level.item = value.list()->begin();
    } else {
      level.entry = value.map()->begin();
    }
    return visitor.begin(value);
  };

  if (!enter(root)) return false;
  while (!levels.empty()) {
    Level& level = levels.back();
    const Value& container = *level.container;
    if (const List* list = container.list(); list != nullptr && level.item != list->end()) {
      if (!enter(*level.item++)) return false;
    } else if (const Map* map = container.map(); map != nullptr && level.entry != map->end()) {
      const auto [key, value] = *level.entry++;
      if (!visitor.key(key) || !enter(value)) return false;
    } else {
      levels.pop_back();
      if (!visitor.end(container)) return false;
    }
  }
  return true;
}

}  // namespace qlczephra
