// The tokens of a JSON text, one after the other, and what the scalars among them mean. For one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "platform/json/structural_index.h"
#include "qlczephra/value.h"
#include "value/limits.h"

namespace qlczephra::json {

class TokenReader {
 public:
  // Of a text without errors in its index; both must outlive the reader.
  TokenReader(std::string_view text, const StructuralIndex& index) noexcept
      : text_(text), token_(index.begin()), end_(index.end()), backslash_(backslashFrom(0)) {}

  // What was wrong, once a call here has failed, in words as ReadError has them.
  [[nodiscard]] const char* error() const noexcept { return error_; }
  [[nodiscard]] bool exceedsLimit() const noexcept { return exceedsLimit_; }
  // Always false, to end with.
  bool fail(const char* reason) noexcept {
    error_ = reason;
    return false;
  }
  bool failBeyondLimit(const char* reason) noexcept {
    exceedsLimit_ = true;
    return fail(reason);
  }

  // Bytes of the text.
  [[nodiscard]] std::size_t size() const noexcept { return text_.size(); }

  // Where the next token is, to be read again.
  struct Place {
    const std::uint32_t* token;
    std::size_t backslash;
  };
  [[nodiscard]] Place place() const noexcept { return {token_, backslash_}; }
  void goTo(const Place& place) noexcept {
    token_ = place.token;
    backslash_ = place.backslash;
  }

  [[nodiscard]] bool isAtEnd() const noexcept { return token_ == end_; }

  // The first byte of the next token, which is then passed; NUL after the last one.
  char take() noexcept {
    if (token_ == end_) return '\0';
    position_ = *token_++;
    return text_[position_];
  }
  bool takeIf(char wanted) noexcept {
    if (token_ == end_ || text_[*token_] != wanted) return false;
    position_ = *token_++;
    return true;
  }

  // Passes a key and its colon; the key is good until the next string is read.
  [[nodiscard]] bool takeKey(std::string_view& key) {
    if (take() != '"') return fail("a key is missing");
    if (!readContent(key)) return false;
    if (key.size() > limits::keyLength) return failBeyondLimit("a key is too long");
    return take() == ':' || fail("a colon is missing");
  }
  // The string whose opening quote was just taken; good until the next one is read.
  [[nodiscard]] bool readString(std::string_view& string) {
    return readContent(string) && (string.size() <= limits::stringLength || failBeyondLimit("a string is too long"));
  }
  // The string, word or number that begins with `first`, the byte that was just taken.
  [[nodiscard]] bool readScalar(char first, Value& value) {
    if (first == '"') {
      std::string_view string;
      if (!readString(string)) return false;
      value = Value(string);
      return true;
    }
    return readWordOrNumber(first, value);
  }

 private:
  [[nodiscard]] bool readContent(std::string_view& content) {
    const std::size_t first = position_ + 1;
    std::size_t last = token_ == end_ ? text_.size() : *token_;
    // The index has seen the closing quote, and has no token before the white space behind it ends.
    do --last;
    while (text_[last] != '"');
    content = text_.substr(first, last - first);
    // Few texts have a backslash anywhere, so where the next one is tells of most strings that they hold none.
    if (backslash_ < first) backslash_ = backslashFrom(first);
    return last <= backslash_ || unescapeContent(content);
  }
  [[nodiscard]] std::size_t backslashFrom(std::size_t position) const noexcept {
    const void* found = std::memchr(text_.data() + position, '\\', text_.size() - position);
    return found == nullptr ? text_.size() : static_cast<std::size_t>(static_cast<const char*>(found) - text_.data());
  }
  [[nodiscard]] bool unescapeContent(std::string_view& content);
  [[nodiscard]] bool readWordOrNumber(char first, Value& value);
  [[nodiscard]] bool readWord(std::string_view word, Value meaning, Value& value);
  [[nodiscard]] bool readNumber(Value& value);

  // NUL beyond the end.
  [[nodiscard]] char at(std::size_t position) const noexcept {
    return position < text_.size() ? text_[position] : '\0';
  }
  [[nodiscard]] std::size_t afterDigits(std::size_t position) const noexcept {
    while (at(position) >= '0' && at(position) <= '9') ++position;
    return position;
  }
  [[nodiscard]] bool isTokenEnd(std::size_t position) const noexcept;

  std::string_view text_;
  const std::uint32_t* token_;
  const std::uint32_t* end_;
  std::size_t position_ = 0;  // of the token taken last
  // The first backslash from some place on, which is the present one or before it; the text's size for none.
  std::size_t backslash_;
  std::string unescaped_;
  const char* error_ = nullptr;
  bool exceedsLimit_ = false;
};

}  // namespace qlczephra::json
