#include "service/percent.h"

#include <charconv>

namespace qlczephra::service {

std::optional<std::string> percentDecoded(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    if (text.front() != '%') {
      result += text.front();
      text.remove_prefix(1);
      continue;
    }
    if (text.size() < 3) return std::nullopt;
    unsigned char byte = 0;
    const auto parsed = std::from_chars(text.data() + 1, text.data() + 3, byte, 16);
    if (parsed.ptr != text.data() + 3) return std::nullopt;
    result += static_cast<char>(byte);
    text.remove_prefix(3);
  }
  return result;
}

}  // namespace qlczephra::service
