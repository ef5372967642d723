// The least that a walk down a tree can cost: one load for each name, each dependent on the one before.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "qlczephra/value.h"
#include "value/path.h"

namespace qlczephra::bench {

class ChasedTree {
 public:
  struct Node {
    std::vector<Node> children;
    bool value = false;
  };
  // Which child to take on each level; what is missing ends at the group where it would stand.
  struct Route {
    std::array<std::uint16_t, 8> children{};
    std::size_t depth = 0;
  };

  explicit ChasedTree(const Map& plain) : root_(nodeOf(plain)), plain_(plain) {}

  [[nodiscard]] Route routeTo(std::string_view path) const {
    Route route;
    const Map* group = &plain_;
    for (PathNames names(path); route.depth < route.children.size(); names.advance()) {
      std::uint16_t index = 0;
      auto child = group->begin();
      for (; child != group->end() && (*child).key != names.name(); ++child) ++index;
      if (child == group->end()) break;
      route.children[route.depth++] = index;
      if (names.isLast() || (*child).value.map() == nullptr) break;
      group = (*child).value.map();
    }
    return route;
  }

  [[nodiscard]] bool valueAt(const Route& route) const noexcept {
    const Node* node = &root_;
    for (std::size_t level = 0; level < route.depth; ++level) node = &node->children[route.children[level]];
    return node->value;
  }

 private:
  static Node nodeOf(const Value& plain) {
    Node node;
    node.value = plain.boolean().value_or(false);
    if (plain.map() == nullptr) return node;
    node.children.reserve(plain.map()->size());
    for (const auto [name, child] : *plain.map()) node.children.push_back(nodeOf(child));
    return node;
  }

  Node root_;
  Map plain_;
};

}  // namespace qlczephra::bench
