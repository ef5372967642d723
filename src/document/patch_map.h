// Patch maps: changes by dotted path as nested plain maps, the root section first.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "qlczephra/value.h"

namespace qlczephra::document {

// The deepest that the names of a path and the lists and maps of its value may nest together: as deep as they can stand
// under "data" and "values" in a document of 512 levels, so that what is sent can come back.
inline constexpr std::size_t maximumPatchNesting = 510;

// The patch map of one change: a.b.c and a value give {a: {b: {c: value}}}. Empty names are kept. None when it nests
// deeper than `maximumPatchNesting`.
[[nodiscard]] std::optional<Map> makePatch(std::string_view path, const Value& value);

// `tree` with the root sections of `patch` laid over its nodes, section by section in the map's order. The walk ends at
// the first section that is no map or that the tree has no node for: what comes after it is not applied.
[[nodiscard]] Map applyPatch(const Map& tree, const Map& patch);

}  // namespace qlczephra::document
