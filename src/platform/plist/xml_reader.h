// Reads any XML property list, strictly, with expat.
#pragma once

#include <string_view>
#include <variant>

#include "platform/plist/plist.h"
#include "qlczephra/value.h"

namespace qlczephra::plist {

// As plist::read(). Throws std::bad_alloc.
[[nodiscard]] std::variant<Value, ReadError> readXml(std::string_view text);

}  // namespace qlczephra::plist
