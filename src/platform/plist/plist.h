// XML property lists from and to values. Pure: no state, any thread.
//
// Kinds: <true/> and <false/> are booleans, <integer> integers, <real> reals, <string> strings, <array> lists, <dict>
// maps. Two more are understood where others wrote them: <date> becomes a string, the date as it stands
// ("2024-02-29T12:00:00Z"), and <data> a string, its base64 text without white space.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "qlczephra/value.h"

namespace qlczephra::plist {

// Deepest nesting of arrays and dicts that is read and written. Far above that of a document, so that what the library
// makes of one always fits.
inline constexpr std::size_t maximumNesting = 2048;

struct ReadError {
  std::string reason;  // for people, in lower case, without the file's content
};

// One property list, and all that write() gives. Strict about XML: the text is UTF-8 (a byte order mark may precede
// it), well-formed, and of this vocabulary alone, one value inside <plist>. Comments, processing instructions,
// attributes and CDATA are understood; a document type that declares anything is refused, so only the five predefined
// entities exist, and nothing is ever looked up elsewhere.
//
// Of equal keys in a dict the last wins. Integers are decimal or, after "0x", hexadecimal, within the signed or
// unsigned 64-bit range; a real beyond its range is an error, and so are "inf" and "nan". Blanks around numbers and
// dates do not count. Cost grows linearly with the input.
[[nodiscard]] std::variant<Value, ReadError> read(std::string_view text);

// The value as a property list that reads back equal, keys in the map's order, one line for each value, indented by
// tabs. None when the value holds what the format cannot: a null, a real that is not finite, a string or key that is
// not UTF-8 or has a character that XML forbids (a control character but tab, line feed and carriage return; U+FFFE,
// U+FFFF), or a nesting deeper than `maximumNesting`. With a good guess of the text's size it is made where it stays.
[[nodiscard]] std::optional<std::string> write(const Value& value, std::size_t expectedSize = 0);

}  // namespace qlczephra::plist
