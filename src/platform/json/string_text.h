// The escapes of JSON strings, undone and made.
#pragma once

#include <string>
#include <string_view>

namespace qlczephra::json {

// Replaces `unescaped` by the content of a string that stands escaped in `text` (without its quotes). False for an
// escape that JSON does not have, and for half a surrogate pair.
[[nodiscard]] bool unescape(std::string_view text, std::string& unescaped);

// Appends `content` in quotes. False when it is not UTF-8.
[[nodiscard]] bool appendString(std::string& text, std::string_view content);

}  // namespace qlczephra::json
