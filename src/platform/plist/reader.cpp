#include <algorithm>
#include <optional>
#include <utility>

#include "platform/plist/heading.h"
#include "platform/plist/plain_markup.h"
#include "platform/plist/plist.h"
#include "platform/plist/scalar_text.h"
#include "platform/plist/xml_characters.h"
#include "platform/plist/xml_scanner.h"
#include "value/value_stack.h"

namespace qlczephra::plist {

namespace {

constexpr std::string_view root = "plist";

// Makes values bottom-up from the tags as they come.
class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text), xml_(text) {
    // As large a container as may well come. The one large request for a large text also has the allocator put the
    // small pieces together that it got back, so that the blocks of the new tree lie close to each other.
    constexpr std::size_t bytesForEach = 2048;
    values_.reserve(text.size() / bytesForEach);
  }

  std::variant<Value, ReadError> read() {
    if (readDocument()) return values_.take();
    // Whatever else is wrong, this is what a text is told that is none. It may not have been looked at to its end yet.
    if (!isXmlText(text_)) return ReadError{XmlScanner::noText};
    return ReadError{xml_.error() != nullptr ? xml_.error() : error_};
  }

 private:
  bool fail(const char* reason) noexcept {
    error_ = reason;
    return false;
  }

  bool readDocument() {
    if (!xml_.takeIf(heading)) {
      if (!xml_.readProlog(root)) return false;
      const auto tag = xml_.readTag();
      if (!tag) return false;
      if (tag->name != root || tag->kind != Tag::Kind::start) return fail("not a property list");
    }
    for (;;) {
      readPlainMembers();
      if (values_.isComplete()) break;
      if (!readMember()) return false;
      if (values_.isComplete()) break;
    }
    return readEndTag(root) && xml_.readEpilog();
  }

  // ---- as nearly all property lists are written

  // Reads until the value is complete, or something comes that takes a closer look.
  void readPlainMembers() {
    PlainMarkup markup(xml_.rest());
    while (!values_.isComplete() && readPlainMember(markup)) continue;
    xml_.goOnWith(markup.rest());
  }

  // Reads what comes next, as readMember() does, and after a key its value too. False with the markup where something
  // comes that is not plain or has no place here.
  bool readPlainMember(PlainMarkup& markup) {
    const std::size_t depth = values_.depth();
    PlainMarkup ahead = markup;
    if (!ahead.toTag(depth)) return false;
    if (values_.isInMap() && !values_.hasKey()) {
      if (!ahead.takeIf("<key>")) {
        if (!ahead.takeIf("</dict>")) return false;
        markup = ahead;
        return close();
      }
      const auto text = ahead.takeText("</key>");
      if (!text) return false;
      text->size() <= detail::ValueStack::longestShort ? values_.addShort(*text) : values_.addKey(*text);
      markup = ahead;
      if (!ahead.toTag(depth)) return false;
    }
    if (!readPlainValue(ahead, depth)) return false;
    markup = ahead;
    return true;
  }

  bool readPlainValue(PlainMarkup& markup, std::size_t depth) {
    switch (markup.initial()) {
      case 't':
      case 'f': {
        const auto boolean = markup.takeBoolean();
        return boolean && add(*boolean);
      }
      case 's': {
        const auto text = markup.takeIf("<string>") ? markup.takeText("</string>") : std::nullopt;
        if (!text) return false;
        text->size() <= detail::ValueStack::longestShort ? values_.addShort(*text) : values_.add(Value(*text));
        return true;
      }
      case 'i': {
        const auto integer = markup.takeIf("<integer>") ? markup.takeInteger() : std::nullopt;
        return integer && add(*integer);
      }
      case 'r': {
        const auto text = markup.takeIf("<real>") ? markup.takeText("</real>") : std::nullopt;
        return text && addIfAny(realFromText(*text));
      }
      case 'd':
        return depth < maximumNesting && markup.takeIf("<dict>") && open(true);
      case 'a':
        return depth < maximumNesting && markup.takeIf("<array>") && open(false);
      case '/':
        return depth > 0 && !values_.isInMap() && markup.takeIf("</array>") && close();
      default:
        return false;
    }
  }

  // ---- as they may be written

  // Reads what begins with the next tag: a scalar, a key, the start of a container, or the end of the innermost one.
  bool readMember() {
    const auto tag = xml_.readTag();
    if (!tag) return false;
    const auto& [kind, name] = *tag;
    if (kind == Tag::Kind::end) return readContainerEnd(name);
    if (values_.isInMap() && !values_.hasKey()) return name == "key" ? readKey(*tag) : fail("a value without a key");
    if (name == "dict" || name == "array") return readContainerStart(*tag);
    const auto text = readContent(*tag);
    if (!text) return false;
    return addIfAny(scalarFromText(name, *text)) || fail("an element that is unknown here, or with the wrong content");
  }

  bool readContainerStart(const Tag& tag) {
    if (values_.depth() == maximumNesting) return fail("nested too deep");
    open(tag.name == "dict");
    return tag.kind != Tag::Kind::empty || close();
  }

  bool readContainerEnd(std::string_view name) {
    if (values_.depth() == 0 || name != (values_.isInMap() ? "dict" : "array")) return fail("a wrong end tag");
    return values_.hasKey() ? fail("a key without a value") : close();
  }

  bool readKey(const Tag& tag) {
    const auto text = readContent(tag);
    return text && addKey(*text);
  }

  // The text of a scalar element up to and with its end tag.
  std::optional<std::string_view> readContent(const Tag& tag) {
    if (tag.kind == Tag::Kind::empty) return std::string_view();
    const auto text = xml_.readText();
    if (!text || !readEndTag(tag.name)) return std::nullopt;
    return text;
  }

  bool readEndTag(std::string_view name) {
    if (xml_.takeEndTag(name)) return true;
    const auto tag = xml_.readTag();
    if (!tag) return false;
    return (tag->kind == Tag::Kind::end && tag->name == name) || fail("a wrong end tag");
  }

  static std::optional<Value> scalarFromText(std::string_view name, std::string_view text) {
    if (name == "string") return Value(text);
    if (name == "integer") return integerFromText(text);
    if (name == "real") return realFromText(text);
    if (name == "date") return dateFromText(text);
    if (name == "data") return dataFromText(text);
    if ((name == "true" || name == "false") && std::all_of(text.begin(), text.end(), isBlank)) {
      return Value(name == "true");
    }
    return std::nullopt;
  }

  // ---- what comes of it; true, but where there is nothing to add

  bool addKey(std::string_view text) {
    values_.addKey(text);
    return true;
  }
  template <typename Scalar>
  bool add(Scalar&& scalar) {
    values_.add(std::forward<Scalar>(scalar));
    return true;
  }
  bool addIfAny(std::optional<Value> scalar) { return scalar && add(*std::move(scalar)); }
  bool open(bool isMap) {
    isMap ? values_.openMap() : values_.openList();
    return true;
  }
  bool close() {
    values_.close();
    return true;
  }

  const std::string_view text_;
  XmlScanner xml_;
  detail::ValueStack values_;
  const char* error_ = nullptr;
};

}  // namespace

std::variant<Value, ReadError> read(std::string_view text) {
  return Reader(text).read();
}

}  // namespace qlczephra::plist
