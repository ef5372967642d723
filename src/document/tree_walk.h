// Reading an effective settings tree by dotted path. Allocates nothing but the results of flattened().
#pragma once

#include <optional>
#include <string_view>

#include "qlczephra/value.h"

namespace qlczephra::document {

// The value ("v") of the node at `path`; null when there is none. Points into `tree`.
[[nodiscard]] const Value* valueAt(const Map& tree, std::string_view path) noexcept;

// Whether the setting at `path` is read-only, itself or by a group around it; none when there is no such node. A
// placeholder is not read-only.
[[nodiscard]] std::optional<bool> isReadonlyAt(const Map& tree, std::string_view path) noexcept;

// The map of a group's children with every setting node replaced by its plain value, down to the leaves. What is no
// node (a raw value of a dynamic group, a placeholder) stays as it is.
[[nodiscard]] Map flattened(const Map& children);

}  // namespace qlczephra::document
