// A peer as it is often written: maps in maps, and a mutex around them.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "qlczephra/value.h"
#include "value/path.h"

namespace qlczephra::bench {

struct NestedNode {
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const noexcept { return std::hash<std::string_view>()(name); }
  };
  Value value;  // of a leaf
  std::unordered_map<std::string, NestedNode, Hash, std::equal_to<>> children;
};

inline NestedNode nestedNodeOf(const Value& plain) {
  NestedNode node;
  if (plain.map() == nullptr) {
    node.value = plain;
    return node;
  }
  node.children.reserve(plain.map()->size());
  for (const auto [name, child] : *plain.map()) node.children.emplace(name, nestedNodeOf(child));
  return node;
}

class NestedMaps {
 public:
  void replace(std::shared_ptr<const NestedNode> root) {
    const std::lock_guard lock(mutex_);
    root_.swap(root);
  }

  [[nodiscard]] std::optional<bool> boolean(std::string_view path) const {
    const std::lock_guard lock(mutex_);
    const NestedNode* node = root_.get();
    for (PathNames names(path);; names.advance()) {
      const auto child = node->children.find(names.name());
      if (child == node->children.end()) return std::nullopt;
      node = &child->second;
      if (names.isLast()) return node->value.boolean();
    }
  }

 private:
  mutable std::mutex mutex_;
  std::shared_ptr<const NestedNode> root_;
};

}  // namespace qlczephra::bench
