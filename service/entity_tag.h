// Entity tags and the two conditional headers (RFC 9110, sections 8.8.3 and 13.1).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qlczephra::service {

enum class TagComparison : std::uint8_t {
  strong,  // If-Match: equal and neither is weak
  weak,    // If-None-Match: equal but for a "W/" in front
};

// Whether a conditional header with this value names `current`, the tag of what exists. "*" names whatever exists. A
// list that does not follow the grammar names nothing from the fault on.
[[nodiscard]] bool namesTag(std::string_view headerValue, std::string_view current, TagComparison comparison);

// A strong tag for a document: the same content and revision give the same tag, another content another tag, also
// across a restart that begins to count the revisions anew.
[[nodiscard]] std::string makeTag(std::uint64_t revision, std::string_view content);

}  // namespace qlczephra::service
