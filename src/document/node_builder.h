// Makes setting nodes. Those of booleans, which are many and alike, are made once. For one thread.
#pragma once

#include <cstddef>
#include <iterator>
#include <optional>
#include <utility>

#include "document/setting_node.h"
#include "qlczephra/value.h"
#include "value/map_maker.h"

namespace qlczephra::document {

class NodeBuilder {
 public:
  // A node as a schema gives it.
  [[nodiscard]] Map node(Value value, bool isReadonly, bool isDynamic) {
    const std::optional<bool> boolean = value.boolean();
    const auto make = [&] {
      // In the order of the keys.
      MapMaker::Slot slots[] = {{dynamicKey, true}, {readonlyKey, isReadonly}, {valueKey, std::move(value)}};
      const std::size_t left = isDynamic ? 0 : 1;
      return MapMaker::ofAscending(slots + left, std::size(slots) - left);
    };
    return boolean && !isReadonly && !isDynamic ? once(writable_[std::size_t{*boolean}], make) : make();
  }
  // A node that holds a value and nothing else, as one that values were laid over.
  [[nodiscard]] Map holding(Value value) {
    const std::optional<bool> boolean = value.boolean();
    const auto make = [&] {
      MapMaker::Slot slot{valueKey, std::move(value)};
      return MapMaker::ofAscending(&slot, 1);
    };
    return boolean ? once(bare_[std::size_t{*boolean}], make) : make();
  }

 private:
  template <typename Make>
  static const Map& once(Map& node, Make make) {
    if (node.empty()) node = make();
    return node;
  }

  Map bare_[2];      // nodes that hold false and true and nothing else
  Map writable_[2];  // nodes of the leaves that a schema gives, by default false and true
};

}  // namespace qlczephra::document
