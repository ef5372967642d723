#include <charconv>
#include <utility>

#include "platform/json/json.h"
#include "platform/json/string_text.h"
#include "platform/json/structural_index.h"
#include "value/assembler.h"
#include "value/byte_scan.h"
#include "value/limits.h"
#include "value/number_text.h"

namespace qlczephra::json {

namespace {

// Walks over the tokens once and makes values bottom-up.
class Reader {
 public:
  Reader(std::string_view text, const StructuralIndex& index)
      : text_(text), token_(index.begin()), tokensEnd_(index.end()) {}

  std::variant<Value, ReadError> read() {
    Value value;
    Step step = Step::valueExpected;
    while (step == Step::valueExpected) {
      step = readValue(value);
      while (step == Step::valueComplete && assembler_.depth() > 0) step = add(value);
    }
    if (step == Step::failed) return std::move(error_);
    if (token_ != tokensEnd_) return ReadError{"something after the text's end"};
    return value;
  }

 private:
  enum class Step { valueExpected, valueComplete, failed };

  Step fail(const char* reason) {
    error_.reason = reason;
    return Step::failed;
  }

  // The first byte of the next token, which is then passed; NUL after the last one.
  char take() noexcept {
    if (token_ == tokensEnd_) return '\0';
    position_ = *token_++;
    return text_[position_];
  }
  bool takeIf(char wanted) noexcept {
    if (token_ == tokensEnd_ || text_[*token_] != wanted) return false;
    ++token_;
    return true;
  }

  // Reads a scalar or an empty container, or opens a container.
  Step readValue(Value& value) {
    switch (take()) {
      case '{':
        if (assembler_.depth() == limits::documentNesting) return failBeyondLimit("nested too deep");
        assembler_.openMap();
        return takeIf('}') ? close(value) : readKey();
      case '[':
        if (assembler_.depth() == limits::documentNesting) return failBeyondLimit("nested too deep");
        assembler_.openList();
        return takeIf(']') ? close(value) : Step::valueExpected;
      case '"': {
        const auto string = readString();
        if (!string) return Step::failed;
        if (string->size() > limits::stringLength) return failBeyondLimit("a string is too long");
        value = Value(*string);
        return Step::valueComplete;
      }
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

  Step failBeyondLimit(const char* reason) {
    error_.exceedsLimit = true;
    return fail(reason);
  }

  Step close(Value& value) {
    value = assembler_.close();
    return Step::valueComplete;
  }

  // Puts `value` into the innermost container. When that ends here, it is complete and becomes `value` itself.
  Step add(Value& value) {
    if (++values_ > limits::documentValues) return failBeyondLimit("too many values");
    assembler_.add(std::move(value));
    const bool isInMap = assembler_.isInMap();
    const char next = take();
    if (next == ',') return isInMap ? readKey() : Step::valueExpected;
    return next == (isInMap ? '}' : ']') ? close(value) : fail("a comma or a closing bracket is missing");
  }

  Step readKey() {
    if (take() != '"') return fail("a key is missing");
    const auto key = readString();
    if (!key) return Step::failed;
    if (key->size() > limits::keyLength) return failBeyondLimit("a key is too long");
    if (take() != ':') return fail("a colon is missing");
    assembler_.setKey(*key);
    return Step::valueExpected;
  }

  // The string whose opening quote was just taken; good until the next one is read.
  std::optional<std::string_view> readString() {
    const char* const first = text_.data() + position_ + 1;
    const char* const last = text_.data() + text_.size();
    // The index has seen the closing quote, so there is one, and two bytes behind every backslash before it.
    const char* at = findFirst<bytes::AnyOf<'"', '\\'>>(first, last);
    if (*at == '"') return std::string_view(first, at);
    while (*at == '\\') at = findFirst<bytes::AnyOf<'"', '\\'>>(at + 2, last);
    if (unescape(std::string_view(first, at), unescaped_)) return unescaped_;
    fail("a wrong escape in a string");
    return std::nullopt;
  }

  Step readWord(std::string_view word, Value meaning, Value& value) {
    if (!text_.substr(position_).starts_with(word) || !isTokenEnd(position_ + word.size())) {
      return fail("an unknown word");
    }
    value = std::move(meaning);
    return Step::valueComplete;
  }

  Step readNumber(Value& value) {
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
    if (isInteger && (sign == 1 ? readInteger<std::int64_t>(number, value) : readInteger<std::uint64_t>(number, value)))
      return Step::valueComplete;
    const auto real = realFromText(number);
    if (!real) return fail("a number beyond the range");
    value = *real;
    return Step::valueComplete;
  }
  // False when the number is beyond the integers.
  template <typename Integer>
  static bool readInteger(std::string_view number, Value& value) {
    Integer integer = 0;
    if (std::from_chars(number.data(), number.data() + number.size(), integer).ec != std::errc{}) return false;
    value = integer;
    return true;
  }

  // NUL beyond the end.
  [[nodiscard]] char at(std::size_t position) const noexcept {
    return position < text_.size() ? text_[position] : '\0';
  }
  [[nodiscard]] std::size_t afterDigits(std::size_t position) const noexcept {
    while (at(position) >= '0' && at(position) <= '9') ++position;
    return position;
  }
  // The index begins no new token inside a run such as "1x" or "true1".
  [[nodiscard]] bool isTokenEnd(std::size_t position) const noexcept {
    return position >= text_.size() || std::string_view(" \t\r\n,]}").find(text_[position]) != std::string_view::npos;
  }

  std::string_view text_;
  const std::uint32_t* token_;
  const std::uint32_t* tokensEnd_;
  std::size_t position_ = 0;  // of the token taken last
  std::size_t values_ = 0;
  Assembler assembler_;
  std::string unescaped_;
  ReadError error_;
};

}  // namespace

std::variant<Value, ReadError> read(std::string_view text) {
  if (text.starts_with("\xEF\xBB\xBF")) return ReadError{"a byte order mark"};
  const StructuralIndex index(text);
  if (index.error() != nullptr) return ReadError{index.error()};
  return Reader(text, index).read();
}

}  // namespace qlczephra::json
