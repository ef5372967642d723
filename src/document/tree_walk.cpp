#include "document/tree_walk.h"

#include <utility>
#include <vector>

#include "document/setting_node.h"
#include "value/path.h"

namespace qlczephra::document {

const Value* valueAt(const Map& tree, std::string_view path) noexcept {
  const Map* children = &tree;
  for (PathNames names(path);; names.advance()) {
    const Map* node = mapUnder(*children, names.name());
    if (node == nullptr) return nullptr;
    const Value* value = node->find(valueKey);
    if (names.isLast() || value == nullptr) return value;
    children = value->map();
    if (children == nullptr) return nullptr;
  }
}

std::optional<bool> isReadonlyAt(const Map& tree, std::string_view path) noexcept {
  const Map* children = &tree;
  for (PathNames names(path);; names.advance()) {
    const Map* node = mapUnder(*children, names.name());
    if (node == nullptr) return std::nullopt;
    if (names.isLast()) return isTrueUnder(*node, readonlyKey);
    children = mapUnder(*node, valueKey);
    if (children == nullptr) return std::nullopt;
    if (isTrueUnder(*node, readonlyKey)) return true;
  }
}

Map flattened(const Map& children) {
  // Groups that are open; on the heap, because trees may nest deeper than a host's thread has stack.
  struct Level {
    explicit Level(const Map& group) : child(group.begin()), end(group.end()) { plain.reserve(group.size()); }
    void take(Value value) {
      plain.setShared(child.sharedKey(), std::move(value));
      ++child;
    }
    Map::const_iterator child, end;
    Map::Builder plain;
  };
  std::vector<Level> levels;
  levels.emplace_back(children);
  for (;;) {
    Level& level = levels.back();
    if (level.child == level.end) {
      Map group = level.plain.build();
      levels.pop_back();
      if (levels.empty()) return group;
      levels.back().take(std::move(group));
      continue;
    }
    const Value& value = (*level.child).value;
    const Value* inner = valueOfNode(value);
    if (inner != nullptr && inner->map() != nullptr) {
      levels.emplace_back(*inner->map());
    } else {
      level.take(inner == nullptr ? value : *inner);
    }
  }
}

}  // namespace qlczephra::document
