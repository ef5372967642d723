#include "document/tree_walk.h"

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
  Map::Builder result;
  result.reserve(children.size());
  for (auto child = children.begin(); child != children.end(); ++child) {
    const Value& value = (*child).value;
    const Value* inner = valueOfNode(value);
    if (inner == nullptr) {
      result.setShared(child.sharedKey(), value);
    } else if (inner->map() != nullptr) {
      result.setShared(child.sharedKey(), flattened(*inner->map()));
    } else {
      result.setShared(child.sharedKey(), *inner);
    }
  }
  return result.build();
}

}  // namespace qlczephra::document
