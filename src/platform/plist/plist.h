// XML property lists from and to values. Pure: no state, any thread.
//
// Kinds: <true/> and <false/> are booleans, <integer> integers, <real> reals, <string> strings, <array> lists, <dict>
// maps.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "qlczephra/value.h"

namespace qlczephra::plist {

struct ReadError {
  std::string reason;  // for people, in lower case, without the file's content
};

[[nodiscard]] std::variant<Value, ReadError> read(std::string_view text);

// None when the value holds what the format cannot: a null, a real that is not finite, a control character (but tab,
// line feed and carriage return) or a string or key that is not UTF-8, or a character that XML forbids.
[[nodiscard]] std::optional<std::string> write(const Value& value);

}  // namespace qlczephra::plist
