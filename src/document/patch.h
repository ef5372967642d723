// Patch maps: changes by dotted path as nested plain maps, the root section first.
#pragma once

#include <string_view>

#include "qlczephra/value.h"

namespace qlczephra::document {

// What makes a change larger than the limits allow (value/limits.h), in words; null when nothing does.
[[nodiscard]] const char* whyTooLarge(std::string_view path, const Value& value);

// The patch map of one change that is not too large: a.b.c and a value give {a: {b: {c: value}}}. Empty names are kept.
[[nodiscard]] Map makePatch(std::string_view path, const Value& value);

// `tree` with the root sections of `patch` laid over its nodes, section by section in the map's order. The walk ends at
// the first section that is no map or that the tree has no node for: what comes after it is not applied.
[[nodiscard]] Map applyPatch(const Map& tree, const Map& patch);

}  // namespace qlczephra::document
