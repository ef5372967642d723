// Reads property lists in the form in which write() makes them, which is what nearly all files have.
#pragma once

#include <optional>
#include <string_view>

#include "qlczephra/value.h"

namespace qlczephra::plist {

// Returns the value, or nullopt when anything in the text is not in that form: it then takes a reader of all XML to
// tell what it is.
[[nodiscard]] std::optional<Value> readOwnForm(std::string_view text);

}  // namespace qlczephra::plist
