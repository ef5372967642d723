#include "platform/plist/xml_characters.h"

#include "text/utf8.h"

namespace qlczephra::plist {

namespace {

bool isAllowed(char32_t character) noexcept {
  if (character < ' ') return character == '\t' || character == '\n' || character == '\r';
  return character < 0xD800 || (character > 0xDFFF && character < 0xFFFE) ||
         (character > 0xFFFF && character <= 0x10FFFF);
}

}  // namespace

std::size_t characterLength(const char* first, const char* last) noexcept {
  const std::size_t length = utf8::sequenceLength(first, last);
  return length != 0 && isAllowed(utf8::decode(first, length)) ? length : 0;
}

}  // namespace qlczephra::plist
