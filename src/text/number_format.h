// Decimal text of numbers, independent of the locale.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qlczephra {

// The real nearest to a decimal text: [-] digits [. digits] [e [sign] digits], one side of the point may be empty. One
// too small for a real gives 0; none for one too large, and for any other text ("inf" and "nan" included).
[[nodiscard]] std::optional<double> realFromText(std::string_view text) noexcept;

// The shortest text that reads back equal; it always shows a fraction or an exponent. `real` is finite.
void appendReal(std::string& text, double real);

void appendInteger(std::string& text, std::int64_t integer);
void appendInteger(std::string& text, std::uint64_t integer);

}  // namespace qlczephra
