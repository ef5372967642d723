// Lets equal long keys of one document share their text. For one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "qlczephra/value.h"

namespace qlczephra {

class KeyInterner {
 public:
  // The key as a string value. Short ones stand in the value itself anyway; of the long ones the cache remembers the
  // last for each place, so its cost does not depend on how many different keys a document has.
  [[nodiscard]] Value intern(std::string_view text) {
    if (text.size() <= longestInline) return {text};
    Value& place = places_[placeOf(text)];
    if (place.string() != text) place = Value(text);
    return place;
  }

 private:
  static constexpr std::size_t longestInline = 15;
  static constexpr std::size_t placeCount = 256;

  // By the ends of the text and its length, which is enough to tell names apart.
  [[nodiscard]] static std::size_t placeOf(std::string_view text) noexcept {
    std::uint64_t ends[2];
    std::memcpy(&ends[0], text.data(), sizeof ends[0]);
    std::memcpy(&ends[1], text.data() + text.size() - sizeof ends[1], sizeof ends[1]);
    return (ends[0] + ends[1] * 31 + text.size()) * 0x9E3779B97F4A7C15U >> 56U;
  }

  Value places_[placeCount];
};

}  // namespace qlczephra
