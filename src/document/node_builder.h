// Makes setting nodes one after the other, all through one buffer; those of booleans, which are many and alike, are
// made once. For one thread.
#pragma once

#include <cstddef>
#include <optional>
#include <utility>

#include "document/setting_node.h"
#include "qlczephra/value.h"

namespace qlczephra::document {

class NodeBuilder {
 public:
  // A node as a schema gives it.
  [[nodiscard]] Map node(Value value, bool isReadonly, bool isDynamic) {
    const auto make = [&] {
      if (isDynamic) node_.set(dynamicKey, true);
      node_.set(readonlyKey, isReadonly);
      node_.set(valueKey, std::move(value));
      return node_.build();
    };
    const std::optional<bool> boolean = value.boolean();
    return boolean && !isReadonly && !isDynamic ? once(writable_[std::size_t{*boolean}], make) : make();
  }
  // A node that holds a value and nothing else, as one that values were laid over.
  [[nodiscard]] Map holding(Value value) {
    const auto make = [&] {
      node_.set(valueKey, std::move(value));
      return node_.build();
    };
    const std::optional<bool> boolean = value.boolean();
    return boolean ? once(bare_[std::size_t{*boolean}], make) : make();
  }

 private:
  template <typename Make>
  static const Map& once(Map& node, Make make) {
    if (node.empty()) node = make();
    return node;
  }

  Map::Builder node_;
  Map bare_[2];      // nodes that hold false and true and nothing else
  Map writable_[2];  // nodes of the leaves that a schema gives, by default false and true
};

}  // namespace qlczephra::document
