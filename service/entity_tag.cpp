#include "service/entity_tag.h"

#include <array>
#include <cstdio>
#include <optional>

namespace qlczephra::service {
namespace {

constexpr std::string_view weakPrefix = "W/";

struct Tag {
  bool weak = false;
  std::string_view quoted;
};

std::string_view trimmedFront(std::string_view text, std::string_view characters) {
  const std::size_t first = text.find_first_not_of(characters);
  return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

// Takes one tag off the front of `rest`.
std::optional<Tag> takeTag(std::string_view& rest) {
  Tag tag;
  tag.weak = rest.starts_with(weakPrefix);
  if (tag.weak) rest.remove_prefix(weakPrefix.size());
  if (!rest.starts_with('"')) return std::nullopt;
  const std::size_t close = rest.find('"', 1);
  if (close == std::string_view::npos) return std::nullopt;
  tag.quoted = rest.substr(0, close + 1);
  rest.remove_prefix(close + 1);
  return tag;
}

}  // namespace

bool namesTag(std::string_view headerValue, std::string_view current, TagComparison comparison) {
  const std::optional<Tag> existing = takeTag(current);
  std::string_view rest = trimmedFront(headerValue, " \t");
  if (rest.starts_with('*')) return trimmedFront(rest.substr(1), " \t").empty();
  while (existing) {
    rest = trimmedFront(rest, " \t,");
    if (rest.empty()) return false;
    const std::optional<Tag> tag = takeTag(rest);
    if (!tag) return false;
    const bool comparable = comparison == TagComparison::weak || (!tag->weak && !existing->weak);
    if (comparable && tag->quoted == existing->quoted) return true;
    rest = trimmedFront(rest, " \t");
    if (!rest.empty() && !rest.starts_with(',')) return false;
  }
  return false;
}

std::string makeTag(std::uint64_t revision, std::string_view content) {
  std::uint64_t hash = 0xcbf29ce484222325U;  // FNV-1a: tells contents apart, protects nothing
  for (const char character : content) {
    hash ^= static_cast<unsigned char>(character);
    hash *= 0x100000001b3U;
  }
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "\"%llu-%016llx\"", static_cast<unsigned long long>(revision),
                static_cast<unsigned long long>(hash));
  return text.data();
}

}  // namespace qlczephra::service
