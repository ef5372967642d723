// Lets equal long keys of one document share their text. For one thread.
#pragma once

#include <cstddef>
#include <functional>
#include <string_view>
#include <vector>

#include "qlczephra/value.h"

namespace qlczephra {

class KeyCache {
 public:
  // The key as a string value. Short ones stand in the value itself anyway; of the long ones the cache remembers the
  // last for each place, so its cost does not depend on how many different keys a document has.
  [[nodiscard]] Value keyFor(std::string_view text) {
    if (text.size() <= longestInline) return {text};
    if (places_.empty()) places_.resize(placeCount);
    Value& place = places_[std::hash<std::string_view>()(text) % placeCount];
    if (place.string() != text) place = Value(text);
    return place;
  }

 private:
  static constexpr std::size_t longestInline = 15;
  static constexpr std::size_t placeCount = 256;
  std::vector<Value> places_;
};

}  // namespace qlczephra
