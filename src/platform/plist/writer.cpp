#include <cmath>

#include "platform/plist/heading.h"
#include "platform/plist/plist.h"
#include "platform/plist/xml_characters.h"
#include "text/number_format.h"
#include "value/visit.h"

namespace qlczephra::plist {

namespace {

// A visitor that puts a line for each scalar, key, and begin and end of a container. False: the format cannot hold it.
class Writer {
 public:
  explicit Writer(std::size_t expectedSize) { text_.reserve(expectedSize); }

  std::optional<std::string> write(const Value& value) {
    text_ += heading;
    if (!visit(value, *this)) return std::nullopt;
    text_ += "</plist>\n";
    return std::move(text_);
  }

  bool key(std::string_view name) {
    indent();
    return putText("<key>", name, "</key>\n");
  }

  bool scalar(const Value& value) {
    indent();
    switch (value.kind()) {
      case Value::Kind::boolean:
        text_ += *value.boolean() ? "<true/>\n" : "<false/>\n";
        return true;
      case Value::Kind::integer:
        text_ += "<integer>";
        if (const auto integer = value.integer()) {
          appendInteger(text_, *integer);
        } else {
          appendInteger(text_, *value.unsignedInteger());
        }
        text_ += "</integer>\n";
        return true;
      case Value::Kind::real:
        if (!std::isfinite(*value.real())) return false;
        text_ += "<real>";
        appendReal(text_, *value.real());
        text_ += "</real>\n";
        return true;
      case Value::Kind::string:
        return putText("<string>", *value.string(), "</string>\n");
      default:
        return false;
    }
  }

  bool begin(const Value& container) {
    indent();
    text_ += container.map() != nullptr ? "<dict>\n" : "<array>\n";
    ++depth_;
    return true;
  }

  bool end(const Value& container) {
    --depth_;
    indent();
    text_ += container.map() != nullptr ? "</dict>\n" : "</array>\n";
    return true;
  }

 private:
  void indent() { text_.append(depth_, '\t'); }

  // What would not come back as itself is escaped.
  bool putText(std::string_view startTag, std::string_view text, std::string_view endTag) {
    text_ += startTag;
    const char* const last = text.data() + text.size();
    for (const char* at = text.data(); at != last;) {
      const char* const run = at;
      while (at != last && isPrintableAscii(*at) && *at != '&' && *at != '<' && *at != '>') ++at;
      text_.append(run, at);
      if (at == last) break;
      const std::size_t length = characterLength(at, last);
      if (length == 0) return false;
      putCharacter({at, length});
      at += length;
    }
    text_ += endTag;
    return true;
  }

  void putCharacter(std::string_view character) {
    switch (character.front()) {
      case '&':
        text_ += "&amp;";
        break;
      case '<':
        text_ += "&lt;";
        break;
      case '>':
        text_ += "&gt;";
        break;
      case '\r':
        text_ += "&#13;";
        break;
      default:
        text_ += character;
    }
  }

  std::string text_;
  std::size_t depth_ = 0;
};

}  // namespace

std::optional<std::string> write(const Value& value, std::size_t expectedSize) {
  if (value.nesting() > maximumNesting) return std::nullopt;
  return Writer(expectedSize).write(value);
}

}  // namespace qlczephra::plist
