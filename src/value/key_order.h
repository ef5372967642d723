// The order of keys in maps: that of their bytes as unsigned numbers.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "qlczephra/value.h"

namespace qlczephra {

inline constexpr std::size_t longestInlineKey = 15;

// A short key as two numbers, which order and equal as the key does: it stands in its Value padded with zeros and
// followed by its length, so that two loads compare it whole.
struct KeyWords {
  explicit KeyWords(const Value& key) noexcept {
    std::memcpy(this, static_cast<const void*>(&key), sizeof key);
    if constexpr (std::endian::native == std::endian::little) {
      high = __builtin_bswap64(high);
      low = __builtin_bswap64(low);
    }
  }
  std::uint64_t high;
  std::uint64_t low;
};
static_assert(sizeof(KeyWords) == sizeof(Value));

// Below 0 when `left` comes first, 0 when they are equal. Both are strings.
[[nodiscard]] inline int compareKeys(const Value& left, const Value& right) noexcept {
  const std::string_view leftText = *left.string();
  const std::string_view rightText = *right.string();
  if (leftText.size() > longestInlineKey || rightText.size() > longestInlineKey) return leftText.compare(rightText);
  const KeyWords one(left);
  const KeyWords other(right);
  if (one.high != other.high) return one.high < other.high ? -1 : 1;
  return one.low == other.low ? 0 : one.low < other.low ? -1 : 1;
}

// Sorts elements by their `key`; of those with equal keys the last stays. An element may change its place by its bytes.
template <typename Element>
void sortAndKeepLast(std::vector<Element>& elements, std::size_t first, Value Element::*key) {
  const auto isBefore = [key](const Element& left, const Element& right) {
    return compareKeys(left.*key, right.*key) < 0;
  };
  Element* const begin = elements.data() + first;
  Element* const end = elements.data() + elements.size();
  const auto isAscending = [&] {
    for (const Element* next = begin + 1; next < end; ++next) {
      if (!isBefore(next[-1], *next)) return false;
    }
    return true;
  };
  if (isAscending()) return;
  constexpr std::ptrdiff_t few = 32;
  if (end - begin <= few) {
    // In place; std::stable_sort would ask for memory.
    for (Element* next = begin + 1; next != end; ++next) {
      Element* const place = std::upper_bound(begin, next, *next, isBefore);
      if (place == next) continue;
      unsigned char moved[sizeof(Element)];
      std::memcpy(moved, static_cast<const void*>(next), sizeof moved);
      std::memmove(static_cast<void*>(place + 1), static_cast<const void*>(place),
                   static_cast<std::size_t>(next - place) * sizeof(Element));
      std::memcpy(static_cast<void*>(place), moved, sizeof moved);
    }
  } else {
    std::stable_sort(begin, end, isBefore);
  }
  // Walking backwards, the first seen of a run of equal keys is kept.
  const auto isEqual = [key](const Element& left, const Element& right) { return left.*key == right.*key; };
  const auto from = elements.begin() + static_cast<std::ptrdiff_t>(first);
  elements.erase(from, std::unique(elements.rbegin(), std::reverse_iterator(from), isEqual).base());
}

}  // namespace qlczephra
