#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qlczephra::service {

// Undoes percent-encoding; "+" stands for itself. None when a "%" is not followed by two hexadecimal digits.
[[nodiscard]] std::optional<std::string> percentDecoded(std::string_view text);

}  // namespace qlczephra::service
