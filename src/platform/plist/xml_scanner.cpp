#include "platform/plist/xml_scanner.h"

#include <algorithm>
#include <cstddef>

#include "platform/plist/xml_characters.h"
#include "text/utf8.h"

namespace qlczephra::plist {

namespace {

bool equalsIgnoringCase(std::string_view text, std::string_view lowerCase) noexcept {
  return std::equal(text.begin(), text.end(), lowerCase.begin(), lowerCase.end(), [](char left, char right) {
    return (left >= 'A' && left <= 'Z' ? static_cast<char>(left + ('a' - 'A')) : left) == right;
  });
}

bool isPublicIdentifier(std::string_view text) noexcept {
  return std::all_of(text.begin(), text.end(), [](char byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
           std::string_view(" \r\n-'()+,./:=?;!*#@$_%").find(byte) != std::string_view::npos;
  });
}

}  // namespace

// ---- steps that everything is made of

bool XmlScanner::isText() {
  if (!isKnownText_) isKnownText_ = isXmlText(rest_);
  return isKnownText_ || fail(noText);
}

bool XmlScanner::skipBlanks() noexcept {
  const char* const first = rest_.data();
  const char* const stop = findFirst<bytes::Not<Blank>>(first, first + rest_.size());
  rest_.remove_prefix(static_cast<std::size_t>(stop - first));
  return stop != first;
}

std::optional<std::string_view> XmlScanner::takeUntil(std::string_view end) noexcept {
  const std::size_t length = rest_.find(end);
  if (length == std::string_view::npos) return std::nullopt;
  const std::string_view taken = rest_.substr(0, length);
  rest_.remove_prefix(length + end.size());
  return taken;
}

std::optional<std::string_view> XmlScanner::readQuoted() {
  if (takeIf("\"")) return takeUntil("\"");
  if (takeIf("'")) return takeUntil("'");
  return std::nullopt;
}

// ---- between elements

bool XmlScanner::skipMisc() {
  for (;;) {
    skipBlanks();
    if (takeIf("<!--")) {
      if (!skipComment()) return false;
    } else if (takeIf("<?")) {
      if (!skipInstruction()) return false;
    } else {
      return true;
    }
  }
}

bool XmlScanner::skipComment() {
  return (takeUntil("--") && takeIf(">")) || fail("a comment without an end, or with two hyphens inside");
}

bool XmlScanner::skipInstruction() {
  const std::string_view target = rest_.substr(0, nameLength(rest_));
  if (target.empty() || equalsIgnoringCase(target, "xml")) return fail("a processing instruction without a target");
  rest_.remove_prefix(target.size());
  if (takeIf("?>")) return true;
  return (skipBlanks() && takeUntil("?>")) || fail("a processing instruction without an end");
}

bool XmlScanner::readProlog(std::string_view root) {
  takeIf("\xEF\xBB\xBF");
  if (!isText()) return false;
  if (rest_.starts_with("<?xml") && rest_.size() > 5 && isBlank(rest_[5])) {
    rest_.remove_prefix(5);
    if (!readDeclaration()) return false;
  }
  if (!skipMisc()) return false;
  if (takeIf("<!DOCTYPE")) return readDocumentType(root) && skipMisc();
  return true;
}

bool XmlScanner::readDeclaration() {
  // The declaration's parts look like attributes and stand in this order.
  struct Part {
    std::string_view name;
    bool isRequired;
    bool (*accepts)(std::string_view value);
  };
  constexpr Part parts[] = {
      {"version", true, [](std::string_view value) { return value == "1.0"; }},
      {"encoding", false, [](std::string_view value) { return equalsIgnoringCase(value, "utf-8"); }},
      {"standalone", false, [](std::string_view value) { return value == "yes" || value == "no"; }},
  };
  bool hadBlanks = skipBlanks();
  for (const Part& part : parts) {
    if (!rest_.starts_with(part.name)) {
      if (part.isRequired) return fail("an xml declaration without a version");
      continue;
    }
    const auto attribute = hadBlanks ? readAttribute() : std::nullopt;
    if (!attribute || attribute->name != part.name || !part.accepts(attribute->value)) {
      return fail("an xml declaration that is malformed or asks for another encoding");
    }
    hadBlanks = skipBlanks();
  }
  return takeIf("?>") || fail("an xml declaration without an end");
}

bool XmlScanner::readDocumentType(std::string_view root) {
  constexpr const char* malformed = "a malformed document type";
  if (!skipBlanks() || rest_.substr(0, nameLength(rest_)) != root) return fail("another document type");
  rest_.remove_prefix(root.size());
  if (skipBlanks() && (rest_.starts_with('P') || rest_.starts_with('S'))) {
    if (takeIf("PUBLIC")) {
      const auto identifier = skipBlanks() ? readQuoted() : std::nullopt;
      if (!identifier || !isPublicIdentifier(*identifier)) return fail(malformed);
    } else if (!takeIf("SYSTEM")) {
      return fail(malformed);
    }
    if (!skipBlanks() || !readQuoted()) return fail(malformed);
    skipBlanks();
  }
  return takeIf(">") || fail("a document type that is malformed or has declarations of its own");
}

bool XmlScanner::readEpilog() {
  return isText() && skipMisc() && (rest_.empty() || fail("something after the root element"));
}

// ---- tags

std::optional<Tag> XmlScanner::readTag() {
  if (!isText() || !skipMisc()) return std::nullopt;
  if (!takeIf("<")) {
    fail(rest_.empty() ? "ends too early" : "text between elements");
    return std::nullopt;
  }
  const bool isEnd = takeIf("/");
  const std::string_view name = rest_.substr(0, nameLength(rest_));
  rest_.remove_prefix(name.size());
  if (name.empty()) {
    fail("a malformed tag");
    return std::nullopt;
  }
  if (takeIf(">")) return Tag{isEnd ? Tag::Kind::end : Tag::Kind::start, name};
  if (isEnd) {
    skipBlanks();
  } else if (!readAttributes()) {
    return std::nullopt;
  }
  const bool isEmpty = !isEnd && takeIf("/");
  if (!takeIf(">")) {
    fail("a malformed tag");
    return std::nullopt;
  }
  return Tag{isEnd ? Tag::Kind::end : isEmpty ? Tag::Kind::empty : Tag::Kind::start, name};
}

bool XmlScanner::takeEndTag(std::string_view name) noexcept {
  const std::size_t length = name.size() + 3;
  if (rest_.size() < length || !rest_.starts_with("</") || rest_[length - 1] != '>' ||
      rest_.substr(2, name.size()) != name) {
    return false;
  }
  rest_.remove_prefix(length);
  return true;
}

bool XmlScanner::readAttributes() {
  attributes_.clear();
  while (skipBlanks() && !rest_.starts_with('>') && !rest_.starts_with('/')) {
    const auto attribute = readAttribute();
    if (!attribute) return false;
    attributes_.push_back(attribute->name);
  }
  std::sort(attributes_.begin(), attributes_.end());
  if (std::adjacent_find(attributes_.begin(), attributes_.end()) == attributes_.end()) return true;
  return fail("an attribute that stands twice");
}

std::optional<XmlScanner::Attribute> XmlScanner::readAttribute() {
  const std::string_view name = rest_.substr(0, nameLength(rest_));
  rest_.remove_prefix(name.size());
  skipBlanks();
  if (name.empty() || !takeIf("=")) {
    fail("a malformed attribute");
    return std::nullopt;
  }
  skipBlanks();
  const auto value = readQuoted();
  if (!value || value->find('<') != std::string_view::npos) {
    fail("a malformed attribute value");
    return std::nullopt;
  }
  XmlScanner inside(*value);
  while (inside.takeUntil("&")) {
    if (!inside.appendReference()) {
      fail(inside.error());
      return std::nullopt;
    }
  }
  return Attribute{name, *value};
}

// ---- character data

std::optional<std::string_view> XmlScanner::readText() {
  // Most text ends at the next tag and stands there as it is meant.
  const char* const last = rest_.data() + rest_.size();
  const char* const stop = findFirst<bytes::AnyOf<'<', '&', '\r', ']'>>(rest_.data(), last);
  if (last - stop >= 2 && *stop == '<' && stop[1] != '!' && stop[1] != '?') {
    const std::string_view text(rest_.data(), stop);
    rest_.remove_prefix(text.size());
    return text;
  }
  if (!readTextInPieces()) return std::nullopt;
  return text_;
}

bool XmlScanner::readTextInPieces() {
  text_.clear();
  for (;;) {
    const char* const last = rest_.data() + rest_.size();
    const std::string_view plain(rest_.data(), findFirst<bytes::AnyOf<'<', '&', '\r', ']'>>(rest_.data(), last));
    text_ += plain;
    rest_.remove_prefix(plain.size());
    if (takeIf("<![CDATA[")) {
      const auto section = takeUntil("]]>");
      if (!section) return fail("a cdata section without an end");
      appendLines(*section);
    } else if (takeIf("<!--")) {
      if (!skipComment()) return false;
    } else if (takeIf("<?")) {
      if (!skipInstruction()) return false;
    } else if (takeIf("&")) {
      if (!appendReference()) return false;
    } else if (takeIf("\r")) {
      if (!rest_.starts_with('\n')) text_ += '\n';
    } else if (rest_.starts_with("]]>")) {
      return fail("the end of a cdata section that never began");
    } else if (takeIf("]")) {
      text_ += ']';
    } else {
      return !rest_.empty() || fail("ends too early");
    }
  }
}

void XmlScanner::appendLines(std::string_view characters) {
  for (;;) {
    const std::size_t plain = std::min(characters.find('\r'), characters.size());
    text_ += characters.substr(0, plain);
    characters.remove_prefix(plain);
    if (characters.empty()) return;
    characters.remove_prefix(characters.starts_with("\r\n") ? 2 : 1);
    text_ += '\n';
  }
}

// A reference from behind its '&'.
bool XmlScanner::appendReference() {
  struct Entity {
    std::string_view name;
    char character;
  };
  constexpr Entity predefined[] = {{"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};

  // The longest that is of use is a character's number; zeros may stand before it without limit.
  const auto body = takeUntil(";");
  if (!body) return fail("a reference without an end");
  if (!body->starts_with('#')) {
    for (const Entity& entity : predefined) {
      if (*body != entity.name) continue;
      text_ += entity.character;
      return true;
    }
    return fail("an entity that is not predefined");
  }
  const bool isHexadecimal = body->starts_with("#x");
  const std::string_view digits = body->substr(isHexadecimal ? 2 : 1);
  char32_t character = 0;
  for (const char digit : digits) {
    unsigned value = 0;
    if (digit >= '0' && digit <= '9') {
      value = static_cast<unsigned>(digit - '0');
    } else if (isHexadecimal && ((digit >= 'a' && digit <= 'f') || (digit >= 'A' && digit <= 'F'))) {
      value = static_cast<unsigned>((digit | 0x20) - 'a') + 10;
    } else {
      return fail("a malformed character reference");
    }
    character = std::min<char32_t>(character * (isHexadecimal ? 16U : 10U) + value, 0x110000);
  }
  if (digits.empty() || !isAllowed(character)) return fail("a reference to a character that xml forbids");
  utf8::append(text_, character);
  return true;
}

}  // namespace qlczephra::plist
