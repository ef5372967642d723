#include "platform/json/string_text.h"

#include <charconv>
#include <optional>

#include "text/utf8.h"

namespace qlczephra::json {

namespace {

// The four hexadecimal digits that `text` begins with, taken from it.
std::optional<char32_t> takeUnit(std::string_view& text) {
  if (text.size() < 4) return std::nullopt;
  std::uint32_t unit = 0;
  if (std::from_chars(text.data(), text.data() + 4, unit, 16).ptr != text.data() + 4) return std::nullopt;
  text.remove_prefix(4);
  return unit;
}

// The character of a "\u" escape, from the digits on, both halves of a surrogate pair included.
std::optional<char32_t> takeCharacter(std::string_view& text) {
  const auto first = takeUnit(text);
  if (!first || *first < 0xD800 || *first > 0xDFFF) return first;
  if (*first > 0xDBFF || !text.starts_with("\\u")) return std::nullopt;
  text.remove_prefix(2);
  const auto second = takeUnit(text);
  if (!second || *second < 0xDC00 || *second > 0xDFFF) return std::nullopt;
  return 0x10000U + ((*first - 0xD800U) << 10U) + (*second - 0xDC00U);
}

constexpr std::string_view shortEscapes = "\"\\/bfnrt";
constexpr std::string_view shortEscaped = "\"\\/\b\f\n\r\t";

void appendEscaped(std::string& text, char byte) {
  text += '\\';
  if (const std::size_t at = shortEscaped.find(byte); at != std::string_view::npos) {
    text += shortEscapes[at];
    return;
  }
  constexpr std::string_view digits = "0123456789abcdef";
  const auto code = static_cast<unsigned char>(byte);
  text += "u00";
  text += digits[code >> 4U];
  text += digits[code & 0x0FU];
}

}  // namespace

bool unescape(std::string_view text, std::string& unescaped) {
  unescaped.clear();
  for (;;) {
    const std::size_t plain = std::min(text.find('\\'), text.size());
    unescaped += text.substr(0, plain);
    text.remove_prefix(plain);
    if (text.empty()) return true;
    if (text.size() < 2) return false;
    const char escape = text[1];
    text.remove_prefix(2);
    if (escape == 'u') {
      const auto character = takeCharacter(text);
      if (!character) return false;
      utf8::append(unescaped, *character);
    } else {
      const std::size_t at = shortEscapes.find(escape);
      if (at == std::string_view::npos) return false;
      unescaped += shortEscaped[at];
    }
  }
}

bool appendString(std::string& text, std::string_view content) {
  const auto isEscaped = [](char byte) {
    return static_cast<unsigned char>(byte) < ' ' || byte == '"' || byte == '\\';
  };
  text += '"';
  const char* const last = content.data() + content.size();
  for (const char* at = content.data(); at != last;) {
    const char* const run = at;
    while (at != last && !isEscaped(*at)) {
      const std::size_t length = utf8::sequenceLength(at, last);
      if (length == 0) return false;
      at += length;
    }
    text.append(run, at);
    if (at != last) appendEscaped(text, *at++);
  }
  text += '"';
  return true;
}

}  // namespace qlczephra::json
