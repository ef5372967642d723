// The settings that a manager would have from a document.
#pragma once

#include <string_view>

#include "qlczephra/value.h"

namespace qlczephra::bench {

// From the JSON text of a settings document to its effective tree, without local changes. Ends the program when the
// text is no document.
[[nodiscard]] Map effectiveTreeOf(std::string_view document);

}  // namespace qlczephra::bench
