#include "text/number_format.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <system_error>

namespace qlczephra {

namespace {

constexpr std::size_t longestNumber = 32;  // characters of any integer or shortest real

template <typename Number>
std::string_view print(char (&buffer)[longestNumber], Number number) noexcept {
  return {buffer, std::to_chars(buffer, buffer + longestNumber, number).ptr};
}

// Whether a well-formed decimal text is too small for a real rather than too large, by the weight of its first digit
// that is not zero.
bool isTiny(std::string_view text) noexcept {
  const std::size_t exponentAt = text.find_first_of("eE");
  const std::string_view digits = text.substr(0, exponentAt);
  const std::size_t point = std::min(digits.find('.'), digits.size());
  const auto weight = static_cast<std::ptrdiff_t>(point) -
                      static_cast<std::ptrdiff_t>(std::min(digits.find_first_not_of("-0."), digits.size()));
  if (exponentAt == std::string_view::npos) return weight < 0;
  std::string_view exponent = text.substr(exponentAt + 1);
  if (exponent.starts_with('+')) exponent.remove_prefix(1);
  std::ptrdiff_t power = 0;
  const auto [end, error] = std::from_chars(exponent.data(), exponent.data() + exponent.size(), power);
  // An exponent beyond any counter outweighs digits that fit into memory.
  if (error != std::errc{}) return exponent.starts_with('-');
  return power < -weight;
}

}  // namespace

std::optional<double> realFromText(std::string_view text) noexcept {
  const std::string_view unsignedText = text.substr(text.starts_with('-') ? 1 : 0);
  if (unsignedText.empty() || (unsignedText[0] != '.' && (unsignedText[0] < '0' || unsignedText[0] > '9'))) {
    return std::nullopt;
  }
  double real = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), real);
  if (end != text.data() + text.size()) return std::nullopt;
  if (error == std::errc{}) return real;
  if (error == std::errc::result_out_of_range && isTiny(text)) return text.starts_with('-') ? -0.0 : 0.0;
  return std::nullopt;
}

void appendReal(std::string& text, double real) {
  char buffer[longestNumber];
  const std::string_view digits = print(buffer, real);
  text += digits;
  if (digits.find_first_of(".e") == std::string_view::npos) text += ".0";
}

void appendInteger(std::string& text, std::int64_t integer) {
  char buffer[longestNumber];
  text += print(buffer, integer);
}

void appendInteger(std::string& text, std::uint64_t integer) {
  char buffer[longestNumber];
  text += print(buffer, integer);
}

}  // namespace qlczephra
