// What may stand in a request line and in header fields (RFC 9110 section 5), so that no value can smuggle another line
// into a request.
#pragma once

#include <string_view>

namespace qlczephra::transport {

// A method or a header name: a token.
[[nodiscard]] bool isToken(std::string_view text) noexcept;

// A header value: no line break, no NUL, no other control character but a tab.
[[nodiscard]] bool isFieldValue(std::string_view text) noexcept;

// A header value that comes out of a message the way it went in: besides, no blanks around it.
[[nodiscard]] bool survivesAsFieldValue(std::string_view text) noexcept;

}  // namespace qlczephra::transport
