#include "platform/plist/xml_reader.h"

#include <expat.h>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "platform/plist/scalar_text.h"
#include "platform/plist/xml_characters.h"
#include "text/ascii.h"
#include "value/value_stack.h"

namespace qlczephra::plist {

namespace {

struct Freeing {
  void operator()(XML_Parser parser) const noexcept { XML_ParserFree(parser); }
};

bool isBlankText(std::string_view text) noexcept {
  return std::all_of(text.begin(), text.end(), isBlank);
}

// Whether a start tag has a reference to an entity of the document type in an attribute, which expat leaves out in
// silence because the declaration may stand in a file that it does not read.
bool hasUndeclaredReference(std::string_view tag) noexcept {
  char quote = '\0';
  for (std::size_t at = 0; at < tag.size(); ++at) {
    const char byte = tag[at];
    if (quote == '\0') {
      if (byte == '>') return false;
      if (byte == '"' || byte == '\'') quote = byte;
    } else if (byte == quote) {
      quote = '\0';
    } else if (byte == '&') {
      const std::string_view name = tag.substr(at + 1);
      const auto begins = [name](std::string_view known) { return name.starts_with(known); };
      if (!begins("#") && !begins("lt;") && !begins("gt;") && !begins("amp;") && !begins("apos;") && !begins("quot;")) {
        return true;
      }
    }
  }
  return false;
}

// Makes a value of expat's events. Nothing may be thrown through expat: what is goes on behind it.
class XmlReader {
 public:
  explicit XmlReader(std::string_view text) : text_(text), parser_(XML_ParserCreate("UTF-8")) {
    if (parser_ == nullptr) throw std::bad_alloc();
    XML_Parser parser = parser_.get();
    XML_SetUserData(parser, this);
    XML_SetXmlDeclHandler(parser, [](void* self, const char* version, const char* encoding, int) {
      handle(self, [&](XmlReader& reader) { reader.declaration(version, encoding); });
    });
    XML_SetStartDoctypeDeclHandler(parser, [](void* self, const char* name, const char*, const char*, int declares) {
      handle(self, [&](XmlReader& reader) {
        if (std::string_view(name) != "plist" || declares != 0) reader.fail("another document type, or declarations");
      });
    });
    XML_SetSkippedEntityHandler(parser, [](void* self, const char*, int) {
      handle(self, [](XmlReader& reader) { reader.fail("an entity that is not predefined"); });
    });
    XML_SetElementHandler(
        parser,
        [](void* self, const char* name, const char** attributes) {
          handle(self, [&](XmlReader& reader) { reader.begin(name, *attributes != nullptr); });
        },
        [](void* self, const char* name) { handle(self, [&](XmlReader& reader) { reader.end(name); }); });
    XML_SetCharacterDataHandler(parser, [](void* self, const char* characters, int size) {
      handle(self, [&](XmlReader& reader) { reader.addCharacters({characters, static_cast<std::size_t>(size)}); });
    });
    XML_SetStartCdataSectionHandler(parser, [](void* self) {
      handle(self, [](XmlReader& reader) {
        if (reader.scalar_.empty()) reader.fail("text between elements");
      });
    });
  }

  std::variant<Value, ReadError> read() {
    constexpr std::size_t piece = std::size_t{1} << 20U;  // expat counts in int
    std::string_view rest = text_;
    for (bool isLast = false; !isLast;) {
      const std::string_view next = rest.substr(0, piece);
      rest.remove_prefix(next.size());
      isLast = rest.empty();
      const auto status = XML_Parse(parser_.get(), next.data(), static_cast<int>(next.size()), isLast ? 1 : 0);
      if (thrown_) std::rethrow_exception(thrown_);
      if (error_ != nullptr) return ReadError{error_};
      if (status == XML_STATUS_OK) continue;
      const XML_Error code = XML_GetErrorCode(parser_.get());
      if (code == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
      return ReadError{XML_ErrorString(code)};
    }
    return values_.take();
  }

 private:
  template <typename Handler>
  static void handle(void* self, Handler handler) noexcept {
    auto& reader = *static_cast<XmlReader*>(self);
    if (reader.error_ != nullptr || reader.thrown_) return;
    try {
      handler(reader);
    } catch (...) {
      reader.thrown_ = std::current_exception();
      XML_StopParser(reader.parser_.get(), XML_FALSE);
    }
  }

  void fail(const char* reason) noexcept {
    error_ = reason;
    XML_StopParser(parser_.get(), XML_FALSE);
  }

  // The text from the present event on.
  [[nodiscard]] std::string_view here() const noexcept {
    return text_.substr(static_cast<std::size_t>(XML_GetCurrentByteIndex(parser_.get())));
  }

  void declaration(const char* version, const char* encoding) {
    const bool isKnown = version != nullptr && std::string_view(version) == "1.0" &&
                         (encoding == nullptr || ascii::equalIgnoringCase(encoding, "utf-8"));
    if (!isKnown) fail("an xml declaration that asks for another version or encoding");
  }

  void begin(std::string_view name, bool hasAttributes) {
    if (hasAttributes && hasUndeclaredReference(here())) return fail("an entity that is not predefined");
    if (!std::exchange(isInside_, true)) {
      if (name != "plist") fail("not a property list");
      return;
    }
    if (!scalar_.empty() || values_.isComplete()) return fail("an element where none may be");
    const bool wantsKey = values_.isInMap() && !values_.hasKey();
    if (wantsKey != (name == "key")) return fail("a value without a key, or a key without a value");
    if (name == "dict" || name == "array") {
      if (values_.depth() == maximumNesting) return fail("nested too deep");
      name == "dict" ? values_.openMap() : values_.openList();
      return;
    }
    scalar_ = name;
    characters_.clear();
  }

  void end(std::string_view name) {
    if (!scalar_.empty()) {
      const std::string scalar = std::exchange(scalar_, {});
      if (scalar == "key") return values_.addKey(characters_);
      auto value = scalarFrom(scalar);
      if (!value) return fail("an element that is unknown here, or with the wrong content");
      values_.add(*std::move(value));
    } else if (name == "plist") {
      if (!values_.isComplete()) fail("no value");
    } else {
      if (values_.hasKey()) return fail("a key without a value");
      values_.close();
    }
  }

  void addCharacters(std::string_view text) {
    if (!scalar_.empty()) {
      characters_ += text;
    } else if (!isBlankText(text) || here().starts_with('&')) {
      fail("text between elements");
    }
  }

  [[nodiscard]] std::optional<Value> scalarFrom(std::string_view name) const {
    if (name == "string") return Value(characters_);
    if (name == "integer") return integerFromText(characters_);
    if (name == "real") return realFromText(characters_);
    if (name == "date") return dateFromText(characters_);
    if (name == "data") return dataFromText(characters_);
    if ((name == "true" || name == "false") && isBlankText(characters_)) return Value(name == "true");
    return std::nullopt;
  }

  const std::string_view text_;
  const std::unique_ptr<XML_ParserStruct, Freeing> parser_;
  detail::ValueStack values_;
  bool isInside_ = false;   // the root element has begun
  std::string scalar_;      // name of the element whose text is read; empty between elements
  std::string characters_;  // of that element
  const char* error_ = nullptr;
  std::exception_ptr thrown_;
};

}  // namespace

std::variant<Value, ReadError> readXml(std::string_view text) {
  return XmlReader(text).read();
}

}  // namespace qlczephra::plist
