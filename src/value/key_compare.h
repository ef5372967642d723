// The order of keys in maps: that of their bytes as unsigned numbers.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "qlczephra/value.h"

namespace qlczephra {

inline constexpr std::size_t longestInlineKey = 15;

// The first 15 bytes of a key as two numbers, the last byte telling how many there are: so most keys are told apart by
// two loads each.
struct KeyWords {
  // A short key stands in its Value, padded with zeros; a long one has more than is taken.
  explicit KeyWords(const Value& key) noexcept {
    const std::string_view text = *key.string();
    take(text.data());
    setLength(text.size());
  }
  explicit KeyWords(std::string_view key) noexcept {
    char bytes[2 * sizeof(std::uint64_t)] = {};
    if (key.size() > longestInlineKey) {
      std::memcpy(bytes, key.data(), longestInlineKey);
    } else {
      key.copy(bytes, key.size());
    }
    take(bytes);
    setLength(key.size());
  }

  // Below 0 when this one comes first. 0 tells that the keys are equal, unless they are long.
  [[nodiscard]] int compare(const KeyWords& other) const noexcept {
    if (high != other.high) return high < other.high ? -1 : 1;
    return low == other.low ? 0 : low < other.low ? -1 : 1;
  }
  [[nodiscard]] bool isLong() const noexcept { return (low & 0xFFU) > longestInlineKey; }

  std::uint64_t high;
  std::uint64_t low;

 private:
  void take(const char* bytes) noexcept {
    std::memcpy(this, bytes, sizeof *this);
    if constexpr (std::endian::native == std::endian::little) {
      high = __builtin_bswap64(high);
      low = __builtin_bswap64(low);
    }
  }
  // A key that goes on behind the first 15 bytes comes after one that ends there.
  void setLength(std::size_t length) noexcept {
    low = (low & ~std::uint64_t{0xFF}) | std::min(length, longestInlineKey + 1);
  }
};
static_assert(sizeof(KeyWords) == sizeof(Value));

// Below 0 when `left` comes first, 0 when they are equal. Both are strings.
[[nodiscard]] inline int compareKeys(const Value& left, const Value& right) noexcept {
  const KeyWords words(left);
  const int order = words.compare(KeyWords(right));
  return order != 0 || !words.isLong() ? order : left.string()->compare(*right.string());
}

// A key that is looked for.
class KeyProbe {
 public:
  explicit KeyProbe(std::string_view key) noexcept : key_(key), words_(key) {}

  // Below 0 when `stored`, a string, comes before this key, 0 when it is this key.
  [[nodiscard]] int order(const Value& stored) const noexcept {
    const int order = KeyWords(stored).compare(words_);
    return order != 0 || !words_.isLong() ? order : stored.string()->compare(key_);
  }

 private:
  std::string_view key_;
  KeyWords words_;
};

// Whether each element comes before the next by `order`, as below.
template <typename Element, typename Order>
[[nodiscard]] bool isAscending(const Element* first, const Element* last, Order order) {
  for (; last - first > 1; ++first) {
    if (order(first[0], first[1]) >= 0) return false;
  }
  return true;
}

// Sorts elements by `order`, which is below 0 when the first of two comes first and 0 when they are equal; of equal
// ones the last stays. An element may change its place by its bytes.
template <typename Element, typename Order>
void sortAndKeepLast(std::vector<Element>& elements, Order order) {
  Element* const begin = elements.data();
  Element* const end = begin + elements.size();
  if (isAscending(begin, end, order)) return;
  constexpr std::ptrdiff_t few = 32;
  if (end - begin <= few) {
    // In place; std::stable_sort would ask for memory.
    for (Element* next = begin + 1; next != end; ++next) {
      Element* place = next;
      while (place != begin && order(*next, place[-1]) < 0) --place;
      if (place == next) continue;
      unsigned char moved[sizeof(Element)];
      std::memcpy(moved, static_cast<const void*>(next), sizeof moved);
      std::memmove(static_cast<void*>(place + 1), static_cast<const void*>(place),
                   static_cast<std::size_t>(next - place) * sizeof(Element));
      std::memcpy(static_cast<void*>(place), moved, sizeof moved);
    }
  } else {
    std::stable_sort(begin, end, [&](const Element& left, const Element& right) { return order(left, right) < 0; });
  }
  // Walking backwards, the first seen of a run of equal ones is kept.
  const auto isEqual = [&](const Element& left, const Element& right) { return order(left, right) == 0; };
  elements.erase(elements.begin(), std::unique(elements.rbegin(), elements.rend(), isEqual).base());
}

}  // namespace qlczephra
