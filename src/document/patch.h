// Patch maps: changes by dotted path as nested plain maps, the root section first.
#pragma once

#include <string_view>

#include "qlczephra/value.h"
#include "value/value_size.h"

namespace qlczephra::document {

// What makes a change larger than the limits allow (value/limits.h), in words; null when nothing does.
[[nodiscard]] const char* whyTooLarge(std::string_view path, const Value& value);

// The patch map of one change that is not too large: a.b.c and a value give {a: {b: {c: value}}}. Empty names are kept.
[[nodiscard]] Map makePatch(std::string_view path, const Value& value);

// `tree` with the root sections of `patch` laid over its nodes, section by section in the map's order. The walk ends at
// the first section that is no map or that the tree has no node for: what comes after it is not applied.
[[nodiscard]] Map applyPatch(const Map& tree, const Map& patch);

struct PatchedTree {
  Map tree;
  bool isSettled = false;  // applying the same patch once more is known to change nothing
};

// applyPatch(tree, patch). Settled unless the walk ended early, or the patch has a map with "v" in it: a leaf may take
// such a map for its value, which the next time takes values as if it were a node.
[[nodiscard]] PatchedTree layPatch(const Map& tree, const Map& patch);

// layPatch(tree, patch), where `patch` is deepMerging(older, change) and `tree` was settled under `older`. Lays the
// change alone, so it takes no longer the more the patch holds.
//
// Why that is the same: a node of such a tree to which the older patch offers a map is either a group that holds all
// that it takes, or takes no map, for else it would have changed. In the former each child takes what it is offered
// whatever its siblings are, so those that the change does not name stay as they are; in the latter it makes no
// difference what the change adds to the map.
[[nodiscard]] PatchedTree layChange(const Map& tree, const Map& patch, const Map& change);

// How much deepMerging(base, other) holds (value/extent.h), from how much `base` does. Takes time in proportion to
// `other` and to what it replaces.
[[nodiscard]] TotalSize sizeOfMerged(TotalSize bulkOfBase, const Map& base, const Map& other);

}  // namespace qlczephra::document
