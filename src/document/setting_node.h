// The words and shapes of the effective settings tree.
//
// A setting node is a map with "v" (a leaf's value, or a group's map of property name to node), "ro" (read-only; absent
// means false) and "dynamic" (present only when true). An empty map is a placeholder: a property without usable schema,
// which holds no value and takes none.
#pragma once

#include <string_view>

#include "qlczephra/value.h"

namespace qlczephra::document {

inline constexpr std::string_view valueKey = "v";
inline constexpr std::string_view readonlyKey = "ro";
inline constexpr std::string_view dynamicKey = "dynamic";

[[nodiscard]] inline const Map* mapUnder(const Map& map, std::string_view key) noexcept {
  const Value* value = map.find(key);
  return value == nullptr ? nullptr : value->map();
}

// True only for the boolean true; whatever else stands under the key counts as absent.
[[nodiscard]] inline bool isTrueUnder(const Map& map, std::string_view key) noexcept {
  const Value* value = map.find(key);
  return value != nullptr && value->boolean() == true;
}

// The value of what stands in a map of nodes; null when it is no node, as a placeholder or a raw value.
[[nodiscard]] inline const Value* valueOfNode(const Value& node) noexcept {
  const Map* map = node.map();
  return map == nullptr ? nullptr : map->find(valueKey);
}

}  // namespace qlczephra::document
