// The characters that XML 1.0 allows, in UTF-8.
#pragma once

#include <cstddef>
#include <string_view>

#include "text/byte_scan.h"

namespace qlczephra::plist {

// Bytes that need a second look: all but printable ASCII, tab, line feed and carriage return.
using NotPlain = bytes::Without<bytes::Either<bytes::Control, bytes::NonAscii>, bytes::AnyOf<'\t', '\n', '\r'>>;

using Blank = bytes::AnyOf<' ', '\t', '\n', '\r'>;

[[nodiscard]] constexpr bool isBlank(char byte) noexcept {
  return Blank::has(byte);
}

[[nodiscard]] bool isAllowed(char32_t character) noexcept;

// Bytes of the well-formed and allowed character at `first`, 1 to 4; 0 when there is none.
[[nodiscard]] std::size_t characterLength(const char* first, const char* last) noexcept;

// Whether `text` is well-formed UTF-8 and all its characters are allowed.
[[nodiscard]] bool isXmlText(std::string_view text) noexcept;

// Bytes of the Name that `text` begins with; 0 when there is none. `text` is well-formed UTF-8.
[[nodiscard]] std::size_t nameLength(std::string_view text) noexcept;

}  // namespace qlczephra::plist
