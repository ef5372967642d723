// UTF-8 as RFC 3629 defines it: shortest forms only, no surrogates, nothing above U+10FFFF. Pure.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qlczephra::utf8 {

// Bytes of the well-formed character at `first`, 1 to 4; 0 when there is none before `last`.
[[nodiscard]] std::size_t sequenceLength(const char* first, const char* last) noexcept;

// The character of a well-formed sequence of that length.
[[nodiscard]] char32_t decode(const char* first, std::size_t length) noexcept;

[[nodiscard]] bool isValid(std::string_view text) noexcept;

// `character` is at most U+10FFFF and no surrogate.
void append(std::string& text, char32_t character);

}  // namespace qlczephra::utf8
