// Questions about settings that may be missing or of any kind.
#pragma once

#include <algorithm>
#include <optional>
#include <string>

#include "document/tree_walk.h"
#include "qlczephra/value.h"

namespace qlczephra::test {

inline bool isTrue(const Value* value) {
  return value != nullptr && value->boolean() == true;
}
inline bool isBoolean(const Value* value) {
  return value != nullptr && value->boolean().has_value();
}
inline bool isWhole(const Value* value) {
  return value != nullptr && value->wholeNumber().has_value();
}
inline bool isString(const Value* value) {
  return value != nullptr && value->string().has_value();
}
inline bool isText(const Value* value, const char* text) {
  return isString(value) && *value->string() == text;
}
inline bool areAll(const Value* value, bool (*isOfKind)(const Value*)) {
  const List* list = value == nullptr ? nullptr : value->list();
  return list != nullptr &&
         std::all_of(list->begin(), list->end(), [&](const Value& element) { return isOfKind(&element); });
}

// Of a string.
inline std::string text(const Value* value) {
  return std::string(*value->string());
}
inline const Map* mapIn(const Map& map, const char* name) {
  const Value* value = map.find(name);
  return value == nullptr ? nullptr : value->map();
}
// A list in which every element is a map; null otherwise.
inline const List* mapsIn(const Value* value) {
  return areAll(value, [](const Value* element) { return element->map() != nullptr; }) ? value->list() : nullptr;
}
// A copy of a group with its settings as plain values; none when there is no group at the path.
inline std::optional<Map> flatAt(const Map& tree, const char* path) {
  const Value* value = document::valueAt(tree, path);
  if (value == nullptr || value->map() == nullptr) return std::nullopt;
  return document::flattened(*value->map());
}

}  // namespace qlczephra::test
