// Text comparison as HTTP has it: ASCII letters without regard to case, whatever the locale.
#pragma once

#include <algorithm>
#include <string_view>

namespace qlczephra::ascii {

[[nodiscard]] constexpr char lowered(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

[[nodiscard]] inline bool equalIgnoringCase(std::string_view left, std::string_view right) noexcept {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return lowered(a) == lowered(b); });
}

}  // namespace qlczephra::ascii
