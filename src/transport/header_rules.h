// What may stand in a request line and in header fields (RFC 9110 section 5), so that no value can smuggle another line
// into a request.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qlczephra::transport {

// A method or a header name: a token.
[[nodiscard]] bool isToken(std::string_view text) noexcept;

// A header value: no line break, no NUL, no other control character but a tab.
[[nodiscard]] bool isFieldValue(std::string_view text) noexcept;

// A header value that comes out of a message the way it went in: besides, no blanks around it.
[[nodiscard]] bool survivesAsFieldValue(std::string_view text) noexcept;

// Returns an entity tag that can go back byte for byte (RFC 9110 section 8.8.3); nullopt for one that cannot, or that
// is longer than 1 KB, since servers refuse requests with large header fields.
[[nodiscard]] std::optional<std::string> sendableTag(std::optional<std::string> eTag);

}  // namespace qlczephra::transport
