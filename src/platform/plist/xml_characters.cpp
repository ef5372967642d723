#include "platform/plist/xml_characters.h"

#include "text/utf8.h"

namespace qlczephra::plist {

namespace {

struct Range {
  char32_t first, last;
};

constexpr Range nameStarts[] = {
    {':', ':'},       {'A', 'Z'},       {'_', '_'},       {'a', 'z'},         {0xC0, 0xD6},     {0xD8, 0xF6},
    {0xF8, 0x2FF},    {0x370, 0x37D},   {0x37F, 0x1FFF},  {0x200C, 0x200D},   {0x2070, 0x218F}, {0x2C00, 0x2FEF},
    {0x3001, 0xD7FF}, {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF},
};
constexpr Range nameFurther[] = {{'-', '.'}, {'0', '9'}, {0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040}};

template <std::size_t count>
bool isIn(const Range (&ranges)[count], char32_t character) noexcept {
  for (const Range& range : ranges) {
    if (character >= range.first && character <= range.last) return true;
  }
  return false;
}

}  // namespace

bool isAllowed(char32_t character) noexcept {
  if (character < ' ') return character == '\t' || character == '\n' || character == '\r';
  return character < 0xD800 || (character > 0xDFFF && character < 0xFFFE) ||
         (character > 0xFFFF && character <= 0x10FFFF);
}

std::size_t characterLength(const char* first, const char* last) noexcept {
  const std::size_t length = utf8::sequenceLength(first, last);
  return length != 0 && isAllowed(utf8::decode(first, length)) ? length : 0;
}

bool isXmlText(std::string_view text) noexcept {
  const char* const last = text.data() + text.size();
  for (const char* at = text.data();;) {
    at = findFirst<NotPlain>(at, last);
    if (at == last) return true;
    const std::size_t length = characterLength(at, last);
    if (length == 0) return false;
    at += length;
  }
}

std::size_t nameLength(std::string_view text) noexcept {
  const char* const last = text.data() + text.size();
  const char* at = text.data();
  // Nearly all names are of lower-case letters and end with their tag.
  while ((at = findFirst<bytes::Not<bytes::LowerCase>>(at, last)) != last && *at != '>') {
    const std::size_t length = utf8::sequenceLength(at, last);
    const char32_t character = utf8::decode(at, length);
    if (!isIn(nameStarts, character) && (at == text.data() || !isIn(nameFurther, character))) break;
    at += length;
  }
  return static_cast<std::size_t>(at - text.data());
}

}  // namespace qlczephra::plist
