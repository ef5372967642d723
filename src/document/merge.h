// The two ways in which maps are laid over each other. Pure; inputs stay as they are, and what neither side changes is
// shared with them.
#pragma once

#include <optional>

#include "qlczephra/value.h"

namespace qlczephra::document {

// Lays the raw values of a section or group over its setting node and gives the new node.
//
// Only what the tree knows takes a value: keys without a node, placeholders and read-only nodes keep what they have. A
// dynamic group takes every key, raw. A leaf that holds a whole number, a string or a list takes any value; one that
// holds a boolean takes booleans and the numbers 0 and 1 as booleans and nothing else; a leaf that holds anything else
// (a real with a fraction, null) keeps it; groups and map leaves merge with maps only. Merged nodes carry "v" alone.
[[nodiscard]] Map mergeValues(const Map& values, const Map& node);

// What a leaf that holds `current` holds once `value` was offered to it; none when it keeps what it has.
[[nodiscard]] std::optional<Value> acceptedByLeaf(const Value& current, const Value& value);

// The children of a dynamic group once it took `values`: all of them as they come, known or not.
[[nodiscard]] Map withEveryValue(const Map& values, const Map& children);

// The union of two maps of raw values: `other` wins, except that two maps under one key are merged in turn.
[[nodiscard]] Map deepMerging(const Map& base, const Map& other);

}  // namespace qlczephra::document
