// Makes setting nodes one after the other, all through one buffer. For one thread.
#pragma once

#include <utility>

#include "document/setting_node.h"
#include "qlczephra/value.h"

namespace qlczephra::document {

class NodeBuilder {
 public:
  // A node as a schema gives it.
  [[nodiscard]] Map node(Value value, bool isReadonly, bool isDynamic) {
    if (isDynamic) node_.set(dynamicKey, true);
    node_.set(readonlyKey, isReadonly);
    node_.set(valueKey, std::move(value));
    return node_.build();
  }
  // A node that holds a value and nothing else, as one that values were laid over.
  [[nodiscard]] Map holding(Value value) {
    node_.set(valueKey, std::move(value));
    return node_.build();
  }

 private:
  Map::Builder node_;
};

}  // namespace qlczephra::document
