// Values of a JSON text, made bottom-up while its tokens are read. For one thread.
#pragma once

#include <cstddef>

#include "platform/json/token_reader.h"
#include "qlczephra/value.h"
#include "value/limits.h"
#include "value/value_builder.h"

namespace qlczephra::json {

class ValueReader {
 public:
  explicit ValueReader(TokenReader& tokens) : tokens_(tokens) {}

  // The value that begins at the next token, which stands inside so many lists and maps. False, and the tokens'
  // error(), when there is none or a limit refuses it.
  [[nodiscard]] bool read(Value& value, std::size_t depth) {
    const char first = tokens_.take();
    return first == '{' || first == '[' ? readContainer(first, value, depth) : tokens_.readScalar(first, value);
  }
  // As read(), of a value that nobody needs.
  [[nodiscard]] bool skip(std::size_t depth) {
    const char first = tokens_.take();
    if (first == '"') {
      std::string_view string;
      return tokens_.readString(string);
    }
    Value skipped;
    return first == '{' || first == '[' ? readContainer(first, skipped, depth) : tokens_.readScalar(first, skipped);
  }

  // While it lives, what is read does not count: it was read before.
  class Uncounted {
   public:
    explicit Uncounted(ValueReader& reader) noexcept : reader_(reader), counted_(reader.values_) { reader.values_ = 0; }
    ~Uncounted() { reader_.values_ = counted_; }
    Uncounted(const Uncounted&) = delete;
    Uncounted& operator=(const Uncounted&) = delete;

   private:
    ValueReader& reader_;
    const std::size_t counted_;
  };

  // To be called for each member and element that was read, those inside of what read() and skip() read excepted.
  [[nodiscard]] bool count() {
    return ++values_ <= limits::documentValues || tokens_.failBeyondLimit("too many values");
  }

 private:
  enum class Step : unsigned char { valueExpected, valueComplete, failed };

  [[nodiscard]] bool readContainer(char bracket, Value& value, std::size_t depth);
  Step begin(char first, Value& value, std::size_t depth);
  Step add(Value& value);
  Step readKey();
  Step close(Value& value);

  TokenReader& tokens_;
  ValueBuilder builder_;
  std::size_t values_ = 0;
};

}  // namespace qlczephra::json
