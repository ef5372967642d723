// The settings that a view is built from: one published state, or none.
#pragma once

#include <string_view>

#include "document/plain_view.h"
#include "document/tree_walk.h"
#include "qlczephra/value.h"

namespace qlczephra::policy {

class Settings {
 public:
  // `tree` may be null: no setting has a value then. It outlives the object.
  explicit Settings(const Map* tree) noexcept : tree_(tree) {}

  // The value at a dotted path, or none. Allocates nothing.
  [[nodiscard]] document::PlainValueView operator[](std::string_view path) const noexcept {
    return {tree_ == nullptr ? nullptr : document::valueAt(*tree_, path), true};
  }

  // The children of the group at a dotted path as they stand in the tree; null when there is no group.
  [[nodiscard]] const Map* group(std::string_view path) const noexcept {
    const Value* value = tree_ == nullptr ? nullptr : document::valueAt(*tree_, path);
    return value == nullptr ? nullptr : value->map();
  }

 private:
  const Map* tree_;
};

}  // namespace qlczephra::policy
