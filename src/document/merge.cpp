#include "document/merge.h"

#include <optional>
#include <utility>
#include <vector>

#include "document/node_builder.h"
#include "document/setting_node.h"

namespace qlczephra::document {

namespace {

// Every value as it comes, known to the tree or not.
Map mergeDynamicGroup(const Map& values, const Map& children) {
  Map::Builder merged(children);
  for (auto value = values.begin(); value != values.end(); ++value) merged.setShared(value.sharedKey(), (*value).value);
  return merged.build();
}

std::optional<bool> booleanFrom(const Value& value) {
  if (value.boolean()) return value.boolean();
  const std::optional<std::int64_t> number = value.wholeNumber();
  if (number == 0 || number == 1) return number == 1;
  return std::nullopt;
}

// What a leaf holds once `value` was offered to it; none when it keeps what it has.
std::optional<Value> accepted(const Value& current, const Value& value) {
  switch (current.kind()) {
    case Value::Kind::real:
      return current.wholeNumber() ? std::optional(value) : std::nullopt;
    case Value::Kind::integer:
    case Value::Kind::string:
    case Value::Kind::list:
      return value;
    case Value::Kind::boolean:
      return booleanFrom(value);
    case Value::Kind::map:
    case Value::Kind::null:
      return std::nullopt;
  }
  return std::nullopt;
}

// Merges on a stack of its own: changes may nest deeper than a host's thread has stack.
class Merging {
 public:
  Map merge(const Map& values, const Map& node) {
    std::optional<Map> merged = begin(values, node);
    for (;;) {
      if (!merged) {
        merged = proceed();
      } else if (levels_.empty()) {
        return *std::move(merged);
      } else {
        levels_.back().take(*std::exchange(merged, std::nullopt));
      }
    }
  }

 private:
  // A group whose children are merged. Both maps are in key order, so one walk over both finds the pairs.
  struct Level {
    Level(const Map& values, const Map& children)
        : offered(values.begin()), offeredEnd(values.end()), known(children.begin()), knownEnd(children.end()) {
      merged.reserve(children.size());
    }
    void take(Value node) {
      merged.setShared(known.sharedKey(), std::move(node));
      ++known;
    }
    // What is offered to the next child; null for nothing.
    const Value* valueOffered() {
      while (offered != offeredEnd && (*offered).key < (*known).key) ++offered;
      return offered != offeredEnd && (*offered).key == (*known).key ? &(*offered).value : nullptr;
    }
    Map::const_iterator offered, offeredEnd;
    Map::const_iterator known, knownEnd;
    Map::Builder merged;
  };

  // The merged node, or none when its children come first.
  std::optional<Map> begin(const Map& values, const Map& node) {
    const Map* children = mapUnder(node, valueKey);
    if (children == nullptr) return node;
    if (isTrueUnder(node, dynamicKey)) return nodes_.holding(mergeDynamicGroup(values, *children));
    if (isTrueUnder(node, readonlyKey)) return node;
    levels_.emplace_back(values, *children);
    return std::nullopt;
  }

  // Goes on with the innermost group, and gives the node of a group that ends or of one that needs no walk.
  std::optional<Map> proceed() {
    Level& level = levels_.back();
    while (level.known != level.knownEnd) {
      const Value& present = (*level.known).value;
      const Value* value = level.valueOffered();
      const Map* child = value == nullptr ? nullptr : present.map();
      const Value* current = child == nullptr || isTrueUnder(*child, readonlyKey) ? nullptr : child->find(valueKey);
      if (current != nullptr && current->map() != nullptr && value->map() != nullptr) {
        return begin(*value->map(), *child);
      }
      std::optional<Value> leaf = current == nullptr ? std::nullopt : accepted(*current, *value);
      level.take(leaf ? Value(nodes_.holding(*std::move(leaf))) : present);
    }
    Map node = nodes_.holding(level.merged.build());
    levels_.pop_back();
    return node;
  }

  std::vector<Level> levels_;
  NodeBuilder nodes_;
};

}  // namespace

Map mergeValues(const Map& values, const Map& node) {
  return Merging().merge(values, node);
}

Map deepMerging(const Map& base, const Map& other) {
  // Maps that are merged into each other, the outermost first.
  struct Level {
    Level(const Map& below, const Map& above) : base(&below), other(above.begin()), end(above.end()), merged(below) {}
    void take(Value value) {
      merged.setShared(other.sharedKey(), std::move(value));
      ++other;
    }
    const Map* base;
    Map::const_iterator other, end;
    Map::Builder merged;
  };
  std::vector<Level> levels;
  levels.emplace_back(base, other);
  for (;;) {
    Level& level = levels.back();
    if (level.other == level.end) {
      Map merged = level.merged.build();
      levels.pop_back();
      if (levels.empty()) return merged;
      levels.back().take(std::move(merged));
      continue;
    }
    const auto [key, value] = *level.other;
    const Map* present = mapUnder(*level.base, key);
    if (present != nullptr && value.map() != nullptr) {
      levels.emplace_back(*present, *value.map());
    } else {
      level.take(value);
    }
  }
}

}  // namespace qlczephra::document
