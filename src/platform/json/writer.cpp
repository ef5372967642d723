#include <cmath>

#include "platform/json/json.h"
#include "platform/json/string_text.h"
#include "text/number_format.h"
#include "value/visit.h"

namespace qlczephra::json {

namespace {

class Writer {
 public:
  explicit Writer(Style style) : indented_(style == Style::indented) {}
  std::string text;

  bool scalar(const Value& value) {
    separate();
    after_ = After::value;
    switch (value.kind()) {
      case Value::Kind::boolean:
        text += *value.boolean() ? "true" : "false";
        return true;
      case Value::Kind::integer:
        if (const auto integer = value.integer()) {
          appendInteger(text, *integer);
        } else {
          appendInteger(text, *value.unsignedInteger());
        }
        return true;
      case Value::Kind::real:
        if (!std::isfinite(*value.real())) return false;
        appendReal(text, *value.real());
        return true;
      case Value::Kind::string:
        return appendString(text, *value.string());
      default:
        text += "null";
        return true;
    }
  }

  bool begin(const Value& container) {
    separate();
    text += container.map() != nullptr ? '{' : '[';
    ++depth_;
    after_ = After::opening;
    return true;
  }

  bool key(std::string_view key) {
    separate();
    if (!appendString(text, key)) return false;
    text += indented_ ? ": " : ":";
    after_ = After::key;
    return true;
  }

  bool end(const Value& container) {
    --depth_;
    if (after_ != After::opening) breakLine();
    text += container.map() != nullptr ? '}' : ']';
    after_ = After::value;
    return true;
  }

 private:
  // Ends what stands before a key or a value.
  void separate() {
    if (after_ == After::value) text += ',';
    if (after_ != After::key && depth_ > 0) breakLine();
  }
  void breakLine() {
    if (!indented_) return;
    text += '\n';
    text.append(2 * depth_, ' ');
  }

  bool indented_;
  std::size_t depth_ = 0;
  enum class After { opening, key, value } after_ = After::opening;  // what was written last
};

}  // namespace

std::optional<std::string> write(const Value& value, Style style) {
  Writer writer(style);
  if (!visit(value, writer)) return std::nullopt;
  return std::move(writer.text);
}

}  // namespace qlczephra::json
