#include "text/utf8.h"

namespace qlczephra::utf8 {

namespace {

bool isBetween(char byte, unsigned char lowest, unsigned char highest) noexcept {
  const auto code = static_cast<unsigned char>(byte);
  return code >= lowest && code <= highest;
}

bool isContinuation(char byte) noexcept {
  return isBetween(byte, 0x80, 0xBF);
}

}  // namespace

std::size_t sequenceLength(const char* first, const char* last) noexcept {
  const auto available = last - first;
  if (available < 1) return 0;
  const auto lead = static_cast<unsigned char>(*first);
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || available < 2) return 0;
  if (lead < 0xE0) return isContinuation(first[1]) ? 2 : 0;
  // The second byte tells overlong forms, surrogates and what lies above U+10FFFF.
  if (lead < 0xF0) {
    const unsigned char lowest = lead == 0xE0 ? 0xA0 : 0x80;
    const unsigned char highest = lead == 0xED ? 0x9F : 0xBF;
    return available >= 3 && isBetween(first[1], lowest, highest) && isContinuation(first[2]) ? 3 : 0;
  }
  if (lead > 0xF4 || available < 4) return 0;
  const unsigned char lowest = lead == 0xF0 ? 0x90 : 0x80;
  const unsigned char highest = lead == 0xF4 ? 0x8F : 0xBF;
  return isBetween(first[1], lowest, highest) && isContinuation(first[2]) && isContinuation(first[3]) ? 4 : 0;
}

char32_t decode(const char* first, std::size_t length) noexcept {
  constexpr unsigned char leadBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
  char32_t character = static_cast<unsigned char>(*first) & leadBits[length];
  for (std::size_t i = 1; i < length; ++i) {
    character = (character << 6U) | (static_cast<unsigned char>(first[i]) & 0x3FU);
  }
  return character;
}

bool isValid(std::string_view text) noexcept {
  const char* const last = text.data() + text.size();
  for (const char* at = text.data();;) {
    while (at != last && static_cast<unsigned char>(*at) < 0x80) ++at;
    if (at == last) return true;
    const std::size_t length = sequenceLength(at, last);
    if (length == 0) return false;
    at += length;
  }
}

void append(std::string& text, char32_t character) {
  const auto put = [&text](char32_t byte) { text.push_back(static_cast<char>(byte)); };
  const auto putContinuation = [&](unsigned shift) { put(0x80U | ((character >> shift) & 0x3FU)); };
  if (character < 0x80) {
    put(character);
  } else if (character < 0x800) {
    put(0xC0U | (character >> 6U));
    putContinuation(0);
  } else if (character < 0x10000) {
    put(0xE0U | (character >> 12U));
    putContinuation(6);
    putContinuation(0);
  } else {
    put(0xF0U | (character >> 18U));
    putContinuation(12);
    putContinuation(6);
    putContinuation(0);
  }
}

}  // namespace qlczephra::utf8
