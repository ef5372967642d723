// Random values of every kind, for tests that compare with a model or with a round trip. The same seed gives the same
// values everywhere.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>

#include "qlczephra/value.h"

namespace qlczephra::test {

struct RandomValueOptions {
  bool nulls = true;
  bool controlCharacters = true;  // in strings and keys, beyond tab, line feed and carriage return
  int nesting = 5;                // levels of lists and maps
  int members = 6;                // at most, of one list or map
};

class RandomValues {
 public:
  explicit RandomValues(std::uint64_t seed, RandomValueOptions options = {}) : random_(seed), options_(options) {}

  Value value() { return value(options_.nesting); }

  Map map() { return map(options_.nesting); }

  // Edges and middles: empty, beyond the inline length, blanks at the ends, markup, line ends, beyond ASCII.
  std::string string() {
    std::string text;
    for (auto left = below(6); left > 0; --left) text += pieces[below(std::size(pieces))];
    if (options_.controlCharacters && below(8) == 0) text += static_cast<char>(below(32));
    return text;
  }

  // Uniform below `limit`.
  std::size_t below(std::size_t limit) { return static_cast<std::size_t>(random_() % limit); }

 private:
  Value value(int nesting) {
    switch (below(nesting > 0 ? 9 : 6)) {
      case 0:
        return options_.nulls ? Value() : Value(false);
      case 1:
        return below(2) == 0;
      case 2:
        return integer();
      case 3:
        return real();
      case 4:
      case 5:
        return string();
      case 6:
      case 7:
        return map(nesting);
      default: {
        List::Builder list;
        for (auto left = below(memberLimit()); left > 0; --left) list.add(value(nesting - 1));
        return list.build();
      }
    }
  }

  Map map(int nesting) {
    Map::Builder map;
    for (auto left = below(memberLimit()); left > 0; --left) map.set(string(), value(nesting - 1));
    return map.build();
  }

  // Of every magnitude, signed and unsigned.
  Value integer() {
    const std::uint64_t bits = random_() >> below(64);
    return below(2) == 0 ? Value(bits) : Value(static_cast<std::int64_t>(bits));
  }

  // Any finite one: bit patterns, and small decimals that people write.
  Value real() {
    if (below(2) == 0) return static_cast<double>(static_cast<std::int64_t>(below(2001)) - 1000) / 8;
    const auto real = std::bit_cast<double>(static_cast<std::uint64_t>(random_()));
    return std::isfinite(real) ? real : std::numeric_limits<double>::denorm_min();
  }

  std::size_t memberLimit() const { return static_cast<std::size_t>(options_.members) + 1; }

  static constexpr const char* pieces[] = {
      "a",
      "enabled",
      "scheduledScanInterval",
      " ",
      "\n",
      "\r",
      "\r\n",
      "\t",
      "<dict>",
      "&amp;",
      "]]>",
      "\"quoted\"",
      "\\u0041",
      "'",
      "\xC3\xA9",
      "\xE2\x82\xAC",
      "0",
      "\xF0\x9F\x98\x80",
      "\x7F",
      "\xEF\xBF\xBD",
      "\xEF\xBB\xBF",
      "/",
      "common.time",
  };

  std::mt19937_64 random_;
  RandomValueOptions options_;
};

}  // namespace qlczephra::test
