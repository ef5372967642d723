#include "document/merge.h"

#include <optional>
#include <utility>

#include "document/setting_node.h"

namespace qlczephra::document {

namespace {

Map nodeHolding(Value value) {
  return Map{{valueKey, std::move(value)}};
}

// Every value as it comes, known to the tree or not.
Map mergeDynamicGroup(const Map& values, const Map& children) {
  Map::Builder merged(children);
  for (const auto& [key, value] : values) merged.set(key, value);
  return nodeHolding(merged.build());
}

std::optional<bool> booleanFrom(const Value& value) {
  if (value.boolean()) return value.boolean();
  const std::optional<std::int64_t> number = value.wholeNumber();
  if (number == 0 || number == 1) return number == 1;
  return std::nullopt;
}

// What stands in place of `child` once `value` was offered to it; none when it stays.
std::optional<Map> offer(const Value& value, const Map& child) {
  if (isTrueUnder(child, readonlyKey)) return std::nullopt;
  const Value* current = child.find(valueKey);
  if (current == nullptr) return std::nullopt;
  switch (current->kind()) {
    case Value::Kind::real:
      if (!current->wholeNumber()) return std::nullopt;
      return nodeHolding(value);
    case Value::Kind::integer:
    case Value::Kind::string:
    case Value::Kind::list:
      return nodeHolding(value);
    case Value::Kind::boolean: {
      const std::optional<bool> boolean = booleanFrom(value);
      if (!boolean) return std::nullopt;
      return nodeHolding(*boolean);
    }
    case Value::Kind::map:
      if (value.map() == nullptr) return std::nullopt;
      return mergeValues(*value.map(), child);
    case Value::Kind::null:
      return std::nullopt;
  }
  return std::nullopt;
}

}  // namespace

Map mergeValues(const Map& values, const Map& node) {
  const Map* children = mapUnder(node, valueKey);
  if (children == nullptr) return node;
  if (isTrueUnder(node, dynamicKey)) return mergeDynamicGroup(values, *children);
  if (isTrueUnder(node, readonlyKey)) return node;

  // Both maps are in key order, so one walk over both finds the pairs.
  Map::Builder merged;
  merged.reserve(children->size());
  auto offered = values.begin();
  for (auto known = children->begin(); known != children->end(); ++known) {
    while (offered != values.end() && (*offered).key < (*known).key) ++offered;
    const bool isOffered = offered != values.end() && (*offered).key == (*known).key;
    const Map* child = (*known).value.map();
    std::optional<Map> replaced;
    if (isOffered && child != nullptr) replaced = offer((*offered).value, *child);
    merged.setShared(known.sharedKey(), replaced ? Value(*std::move(replaced)) : (*known).value);
  }
  return nodeHolding(merged.build());
}

Map deepMerging(const Map& base, const Map& other) {
  Map::Builder merged(base);
  for (const auto& [key, value] : other) {
    const Value* present = base.find(key);
    if (present != nullptr && present->map() != nullptr && value.map() != nullptr) {
      merged.set(key, deepMerging(*present->map(), *value.map()));
    } else {
      merged.set(key, value);
    }
  }
  return merged.build();
}

}  // namespace qlczephra::document
