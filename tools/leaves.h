// Nested plain maps as a list of dotted paths, for people and for comparison.
#pragma once

#include <map>
#include <string>

#include "qlczephra/value.h"

namespace qlczephra::tools {

// Dotted path to value, down to what is no map; an empty map stays as it is.
using Leaves = std::map<std::string, Value>;
[[nodiscard]] Leaves leavesOf(const Map& values);

// The value as it stands behind a path on one line.
[[nodiscard]] std::string shown(const Value& value);

}  // namespace qlczephra::tools
