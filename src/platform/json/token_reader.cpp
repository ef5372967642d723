#include "platform/json/token_reader.h"

#include <charconv>
#include <utility>

#include "platform/json/string_text.h"
#include "text/number_format.h"

namespace qlczephra::json {

namespace {

// False when the number is beyond the integers.
template <typename Integer>
bool readInteger(std::string_view number, Value& value) {
  Integer integer = 0;
  if (std::from_chars(number.data(), number.data() + number.size(), integer).ec != std::errc{}) return false;
  value = integer;
  return true;
}

}  // namespace

bool TokenReader::unescapeContent(std::string_view& content) {
  if (!unescape(content, unescaped_)) return fail("a wrong escape in a string");
  content = unescaped_;
  return true;
}

bool TokenReader::readWordOrNumber(char first, Value& value) {
  switch (first) {
    case 't':
      return readWord("true", true, value);
    case 'f':
      return readWord("false", false, value);
    case 'n':
      return readWord("null", nullptr, value);
    default:
      return readNumber(value);
  }
}

bool TokenReader::readWord(std::string_view word, Value meaning, Value& value) {
  if (text_.compare(position_, word.size(), word) != 0 || !isTokenEnd(position_ + word.size())) {
    return fail("an unknown word");
  }
  value = std::move(meaning);
  return true;
}

bool TokenReader::readNumber(Value& value) {
  const std::size_t sign = at(position_) == '-' ? 1 : 0;
  const std::size_t digits = position_ + sign;
  std::size_t end = afterDigits(digits);
  if (end == digits || (at(digits) == '0' && end > digits + 1)) return fail("neither a value nor a closing bracket");
  bool isInteger = true;
  if (at(end) == '.') {
    isInteger = false;
    const std::size_t fraction = end + 1;
    end = afterDigits(fraction);
    if (end == fraction) return fail("a number without digits after its point");
  }
  if (at(end) == 'e' || at(end) == 'E') {
    isInteger = false;
    const std::size_t exponent = end + (at(end + 1) == '+' || at(end + 1) == '-' ? 2 : 1);
    end = afterDigits(exponent);
    if (end == exponent) return fail("a number without digits in its exponent");
  }
  if (!isTokenEnd(end)) return fail("a number with something behind it");
  const std::string_view number = text_.substr(position_, end - position_);
  if (isInteger && (sign == 1 ? readInteger<std::int64_t>(number, value) : readInteger<std::uint64_t>(number, value))) {
    return true;
  }
  const auto real = realFromText(number);
  if (!real) return fail("a number beyond the range");
  value = *real;
  return true;
}

// The index begins no new token inside a run such as "1x" or "true1".
bool TokenReader::isTokenEnd(std::size_t position) const noexcept {
  switch (at(position)) {
    case ',':
    case '}':
    case ']':
    case ' ':
    case '\n':
    case '\r':
    case '\t':
      return true;
    default:
      return position >= text_.size();
  }
}

}  // namespace qlczephra::json
