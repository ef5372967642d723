#include <cmath>

#include "platform/plist/plist.h"
#include "platform/plist/xml_characters.h"
#include "value/number_text.h"
#include "value/walk.h"

namespace qlczephra::plist {

namespace {

constexpr std::string_view heading =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
constexpr std::string_view ending = "</plist>\n";

// What stands for a character that would not come back as itself; nothing for one that the format cannot hold.
constexpr std::string_view escapeOf(char byte) noexcept {
  switch (byte) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '\r':
      return "&#13;";
    default:
      return {};
  }
}

class Writer {
 public:
  std::string text{heading};

  bool scalar(const Value& value) {
    indent();
    switch (value.kind()) {
      case Value::Kind::boolean:
        text += *value.boolean() ? "<true/>\n" : "<false/>\n";
        return true;
      case Value::Kind::integer:
        text += "<integer>";
        if (const auto integer = value.integer()) {
          appendInteger(text, *integer);
        } else {
          appendInteger(text, *value.unsignedInteger());
        }
        text += "</integer>\n";
        return true;
      case Value::Kind::real:
        if (!std::isfinite(*value.real())) return false;
        text += "<real>";
        appendReal(text, *value.real());
        text += "</real>\n";
        return true;
      case Value::Kind::string:
        text += "<string>";
        if (!appendEscaped(*value.string())) return false;
        text += "</string>\n";
        return true;
      default:
        return false;
    }
  }

  bool key(std::string_view key) {
    indent();
    text += "<key>";
    if (!appendEscaped(key)) return false;
    text += "</key>\n";
    return true;
  }

  bool begin(const Value& container) {
    indent();
    text += container.map() != nullptr ? "<dict>\n" : "<array>\n";
    ++depth_;
    return true;
  }

  bool end(const Value& container) {
    --depth_;
    indent();
    text += container.map() != nullptr ? "</dict>\n" : "</array>\n";
    return true;
  }

 private:
  using Special = bytes::Either<NotPlain, bytes::AnyOf<'&', '<', '>', '\r'>>;

  void indent() { text.append(depth_, '\t'); }

  bool appendEscaped(std::string_view content) {
    const char* const last = content.data() + content.size();
    for (const char* run = content.data();;) {
      const char* at = findFirst<Special>(run, last);
      while (at != last && bytes::NonAscii::has(*at)) {
        const std::size_t length = characterLength(at, last);
        if (length == 0) return false;
        at += length;
      }
      text.append(run, at);
      if (at == last) return true;
      if (Special::has(*at)) {
        const std::string_view escape = escapeOf(*at++);
        if (escape.empty()) return false;
        text += escape;
      }
      run = at;
    }
  }

  std::size_t depth_ = 0;
};

}  // namespace

std::optional<std::string> write(const Value& value, std::size_t expectedSize) {
  if (value.nesting() > maximumNesting) return std::nullopt;
  Writer writer;
  writer.text.reserve(expectedSize);
  if (!walk(value, writer)) return std::nullopt;
  writer.text += ending;
  return std::move(writer.text);
}

}  // namespace qlczephra::plist
