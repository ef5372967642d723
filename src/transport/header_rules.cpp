#include "transport/header_rules.h"

#include <algorithm>

namespace qlczephra::transport {

bool isToken(std::string_view text) noexcept {
  constexpr std::string_view marks = "!#$%&'*+-.^_`|~";
  return !text.empty() && std::all_of(text.begin(), text.end(), [&](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           marks.find(c) != std::string_view::npos;
  });
}

bool isFieldValue(std::string_view text) noexcept {
  return std::all_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte >= 0x20 && byte != 0x7F) || c == '\t';
  });
}

bool survivesAsFieldValue(std::string_view text) noexcept {
  const auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
  return isFieldValue(text) && (text.empty() || (!isBlank(text.front()) && !isBlank(text.back())));
}

std::optional<std::string> sendableTag(std::optional<std::string> eTag) {
  constexpr std::size_t longestTag = 1024;
  if (eTag && (eTag->empty() || eTag->size() > longestTag || !survivesAsFieldValue(*eTag))) return std::nullopt;
  return eTag;
}

}  // namespace qlczephra::transport
