#pragma once

#include "qlczephra/value.h"

namespace qlczephra::tools {

// A whole effective settings tree with every setting node replaced by its plain value.
[[nodiscard]] Map flattenedTree(const Map& tree);

}  // namespace qlczephra::tools
