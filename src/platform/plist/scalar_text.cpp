#include "platform/plist/scalar_text.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <string>

#include "platform/plist/xml_characters.h"
#include "text/number_format.h"

namespace qlczephra::plist {

namespace {

std::string_view trimmed(std::string_view text) noexcept {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

// The number that all of `digits` make, which begin with no sign.
template <typename Integer>
std::optional<Integer> wholeOf(std::string_view digits, int base) noexcept {
  Integer number = 0;
  const char* const last = digits.data() + digits.size();
  const auto [end, error] = std::from_chars(digits.data(), last, number, base);
  if (end != last || error != std::errc{}) return std::nullopt;
  return number;
}

bool isBase64Digit(char byte) noexcept {
  return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9') || byte == '+' ||
         byte == '/';
}

}  // namespace

std::optional<Value> integerFromText(std::string_view text) {
  text = trimmed(text);
  const bool isNegative = text.starts_with('-');
  if (isNegative || text.starts_with('+')) text.remove_prefix(1);
  const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (isHexadecimal) text.remove_prefix(2);
  const auto magnitude = wholeOf<std::uint64_t>(text, isHexadecimal ? 16 : 10);
  if (!magnitude) return std::nullopt;
  if (!isNegative) return Value(*magnitude);
  constexpr auto smallest = std::uint64_t{1} << 63U;  // the magnitude of the smallest integer
  if (*magnitude > smallest) return std::nullopt;
  return Value(static_cast<std::int64_t>(0 - *magnitude));
}

std::optional<Value> realFromText(std::string_view text) {
  text = trimmed(text);
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return std::nullopt;
  }
  const auto real = qlczephra::realFromText(text);
  if (!real) return std::nullopt;
  return Value(*real);
}

std::optional<Value> dateFromText(std::string_view text) {
  text = trimmed(text);
  constexpr std::string_view form = "0000-00-00T00:00:00Z";
  if (text.size() != form.size()) return std::nullopt;
  for (std::size_t i = 0; i < form.size(); ++i) {
    if (form[i] == '0' ? text[i] < '0' || text[i] > '9' : text[i] != form[i]) return std::nullopt;
  }
  const auto part = [text](std::size_t at, std::size_t length) {
    return wholeOf<unsigned>(text.substr(at, length), 10).value_or(0);
  };
  const std::chrono::year_month_day day(std::chrono::year(static_cast<int>(part(0, 4))), std::chrono::month(part(5, 2)),
                                        std::chrono::day(part(8, 2)));
  constexpr unsigned leapSecond = 60;
  if (!day.ok() || part(11, 2) > 23 || part(14, 2) > 59 || part(17, 2) > leapSecond) return std::nullopt;
  return Value(text);
}

std::optional<Value> dataFromText(std::string_view text) {
  std::string base64;
  for (const char byte : text) {
    if (!isBlank(byte)) base64 += byte;
  }
  std::string_view digits = base64;
  for (int padding = 0; padding < 2 && digits.ends_with('='); ++padding) digits.remove_suffix(1);
  if (base64.size() % 4 != 0 || !std::all_of(digits.begin(), digits.end(), isBase64Digit)) return std::nullopt;
  return Value(base64);
}

}  // namespace qlczephra::plist
