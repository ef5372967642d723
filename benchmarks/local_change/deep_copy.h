// A copy of settings that shares nothing with them.
#pragma once

#include <utility>
#include <vector>

#include "qlczephra/value.h"

namespace qlczephra::bench {

inline Value deepCopyOf(const Value& value) {
  if (const auto text = value.string()) return Value(*text);
  if (const List* list = value.list()) {
    std::vector<Value> copies;
    copies.reserve(list->size());
    for (const Value& element : *list) copies.push_back(deepCopyOf(element));
    return List(std::move(copies));
  }
  if (const Map* map = value.map()) {
    Map::Builder copies;
    copies.reserve(map->size());
    for (const auto [key, member] : *map) copies.set(key, deepCopyOf(member));
    return copies.build();
  }
  return value;
}

}  // namespace qlczephra::bench
