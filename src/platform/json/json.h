// JSON (RFC 8259) from and to values. Pure: no state, any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "qlczephra/value.h"

namespace qlczephra::json {

struct ReadError {
  std::string reason;         // for people, in lower case, without the document's content
  bool exceedsLimit = false;  // a text that one of the limits refused
};

// One JSON text, surrounded by nothing but white space. UTF-8 is validated, a byte order mark refused. Of equal keys in
// an object the last wins. Integers (no fraction, no exponent) within the signed or unsigned 64-bit range are exact,
// larger ones become reals; "-0" is the integer 0. A number beyond the range of a real, a text beyond the
// limits of a document (value/limits.h), or anything after the text is an error. Cost grows linearly with the input.
[[nodiscard]] std::variant<Value, ReadError> read(std::string_view text);

enum class Style { compact, indented };

// The value as JSON text, keys in the map's order, UTF-8 as it stands; reals always show a fraction or an exponent, in
// the shortest form that reads back equal. None when the value holds what JSON cannot: a real that is not finite, or a
// string that is not UTF-8.
[[nodiscard]] std::optional<std::string> write(const Value& value, Style style = Style::compact);

}  // namespace qlczephra::json
