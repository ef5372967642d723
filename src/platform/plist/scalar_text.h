// The text of the scalar elements, as values. Each gives nothing for text that is not of its form.
#pragma once

#include <optional>
#include <string_view>

#include "qlczephra/value.h"

namespace qlczephra::plist {

// [sign] digits or [sign] 0x digits, from -2^63 to 2^64-1.
[[nodiscard]] std::optional<Value> integerFromText(std::string_view text);

// [sign] digits with fraction and exponent, within the range of a real.
[[nodiscard]] std::optional<Value> realFromText(std::string_view text);

// YYYY-MM-DDThh:mm:ssZ, a day that exists; the result is that text.
[[nodiscard]] std::optional<Value> dateFromText(std::string_view text);

// Base64 with its padding; the result is that text without white space.
[[nodiscard]] std::optional<Value> dataFromText(std::string_view text);

}  // namespace qlczephra::plist
