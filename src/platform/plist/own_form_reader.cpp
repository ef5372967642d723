#include "platform/plist/own_form_reader.h"

#include <charconv>
#include <cstdint>

#include "platform/plist/heading.h"
#include "platform/plist/plist.h"
#include "platform/plist/scalar_text.h"
#include "platform/plist/xml_characters.h"
#include "value/value_stack.h"

namespace qlczephra::plist {

namespace {

class OwnFormReader {
 public:
  explicit OwnFormReader(std::string_view text) : rest_(text) {}

  std::optional<Value> read() {
    if (!takeIf(heading)) return std::nullopt;
    while (!values_.isComplete()) {
      skipIndent();
      const bool isRead = values_.isInMap() && !values_.hasKey() ? readKeyOrEnd() : readValue();
      if (!isRead) return std::nullopt;
    }
    return rest_ == "\n</plist>\n" ? std::optional(values_.take()) : std::nullopt;
  }

 private:
  bool takeIf(std::string_view wanted) noexcept {
    if (!rest_.starts_with(wanted)) return false;
    rest_.remove_prefix(wanted.size());
    return true;
  }

  void skipIndent() noexcept {
    std::size_t size = 0;
    while (size < rest_.size() && (rest_[size] == '\t' || rest_[size] == '\n')) ++size;
    rest_.remove_prefix(size);
  }

  // The text up to an end tag, both passed, if every character of it stands for itself.
  std::optional<std::string_view> takeText(std::string_view endTag) noexcept {
    const char* const first = rest_.data();
    const char* const last = first + rest_.size();
    const char* at = first;
    while (at != last && *at != '<') {
      if (*at == '&' || *at == '\r' || *at == '>') return std::nullopt;
      if (isPrintableAscii(*at)) {
        ++at;
        continue;
      }
      const std::size_t length = characterLength(at, last);
      if (length == 0) return std::nullopt;
      at += length;
    }
    const std::string_view text(first, static_cast<std::size_t>(at - first));
    rest_.remove_prefix(text.size());
    return takeIf(endTag) ? std::optional(text) : std::nullopt;
  }

  bool readKeyOrEnd() {
    if (takeIf("</dict>")) {
      values_.close();
      return true;
    }
    const auto key = takeIf("<key>") ? takeText("</key>") : std::nullopt;
    if (key) values_.addKey(*key);
    return key.has_value();
  }

  bool readValue() {
    if (takeIf("<true/>")) return add(true);
    if (takeIf("<false/>")) return add(false);
    if (takeIf("<string>")) {
      const auto text = takeText("</string>");
      return text && add(*text);
    }
    if (takeIf("<integer>")) {
      const auto text = takeText("</integer>");
      return text && addIfAny(integerFromText(*text));
    }
    if (takeIf("<real>")) {
      const auto text = takeText("</real>");
      return text && addIfAny(realFromText(*text));
    }
    if (takeIf("</array>")) {
      if (values_.depth() == 0 || values_.isInMap()) return false;
      values_.close();
      return true;
    }
    if (values_.depth() == maximumNesting) return false;
    if (takeIf("<dict>")) {
      values_.openMap();
      return true;
    }
    if (!takeIf("<array>")) return false;
    values_.openList();
    return true;
  }

  bool add(Value value) {
    values_.add(std::move(value));
    return true;
  }
  bool addIfAny(std::optional<Value> value) { return value && add(*std::move(value)); }

  std::string_view rest_;
  detail::ValueStack values_;
};

}  // namespace

std::optional<Value> readOwnForm(std::string_view text) {
  return OwnFormReader(text).read();
}

}  // namespace qlczephra::plist
