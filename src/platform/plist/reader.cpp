#include <algorithm>
#include <utility>

#include "platform/plist/plist.h"
#include "platform/plist/scalar_text.h"
#include "platform/plist/xml_characters.h"
#include "platform/plist/xml_scanner.h"
#include "value/assembler.h"

namespace qlczephra::plist {

namespace {

constexpr std::string_view root = "plist";

// Makes values bottom-up from the tags as they come.
class Reader {
 public:
  explicit Reader(std::string_view text) : xml_(text) {}

  std::variant<Value, ReadError> read() {
    Value value;
    if (!readDocument(value)) return ReadError{xml_.error() != nullptr ? xml_.error() : error_};
    return value;
  }

 private:
  enum class Step { valueExpected, valueComplete, failed };

  Step fail(const char* reason) noexcept {
    error_ = reason;
    return Step::failed;
  }

  bool readDocument(Value& value) {
    if (!xml_.readProlog(root)) return false;
    const auto tag = xml_.readTag();
    if (!tag) return false;
    if (tag->name != root || tag->kind != Tag::Kind::start) {
      fail("not a property list");
      return false;
    }
    Step step = Step::valueExpected;
    while (step == Step::valueExpected) {
      step = readMember(value);
      if (step == Step::valueComplete && assembler_.depth() > 0) {
        assembler_.add(std::move(value));
        hasKey_ = false;
        step = Step::valueExpected;
      }
    }
    return step == Step::valueComplete && readEndTag(root) && xml_.readEpilog();
  }

  // Reads what begins with the next tag: a scalar, a key, the start of a container, or the end of the innermost one.
  Step readMember(Value& value) {
    const auto tag = xml_.readTag();
    if (!tag) return Step::failed;
    const auto& [kind, name] = *tag;
    if (kind == Tag::Kind::end) return readContainerEnd(name, value);
    if (assembler_.isInMap() && !hasKey_) return name == "key" ? readKey(*tag) : fail("a value without a key");
    if (name == "dict" || name == "array") return readContainerStart(*tag, value);
    const auto text = readContent(*tag);
    if (!text) return Step::failed;
    auto scalar = scalarFromText(name, *text);
    if (!scalar) return fail("an element that is unknown here, or with the wrong content");
    value = std::move(*scalar);
    return Step::valueComplete;
  }

  Step readContainerStart(const Tag& tag, Value& value) {
    if (assembler_.depth() == maximumNesting) return fail("nested too deep");
    if (tag.name == "dict") {
      assembler_.openMap();
    } else {
      assembler_.openList();
    }
    hasKey_ = false;
    return tag.kind == Tag::Kind::empty ? readContainerEnd(tag.name, value) : Step::valueExpected;
  }

  Step readContainerEnd(std::string_view name, Value& value) {
    if (assembler_.depth() == 0 || name != (assembler_.isInMap() ? "dict" : "array")) return fail("a wrong end tag");
    if (hasKey_) return fail("a key without a value");
    value = assembler_.close();
    return Step::valueComplete;
  }

  Step readKey(const Tag& tag) {
    const auto text = readContent(tag);
    if (!text) return Step::failed;
    assembler_.setKey(*text);
    hasKey_ = true;
    return Step::valueExpected;
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
    if (tag->kind == Tag::Kind::end && tag->name == name) return true;
    fail("a wrong end tag");
    return false;
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

  XmlScanner xml_;
  Assembler assembler_;
  bool hasKey_ = false;  // the innermost container is a dict, and its next value's key has been read
  const char* error_ = nullptr;
};

}  // namespace

std::variant<Value, ReadError> read(std::string_view text) {
  return Reader(text).read();
}

}  // namespace qlczephra::plist
