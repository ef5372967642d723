// JSON parsers at work on the same text. Each ends the program when it refuses the text, and gives a number that
// depends on what it found.
#pragma once

#include <simdjson.h>

#include <cstdint>
#include <string_view>

namespace qlczephra::bench {

// Sees every value of a text that stands padded: every key and string is unescaped, every number made.
class OndemandWalk {
 public:
  [[nodiscard]] std::uint64_t over(const simdjson::padded_string& text);

 private:
  simdjson::ondemand::parser parser_;
};

// A document object model each, made and freed.
[[nodiscard]] std::uint64_t parseWithRapidJson(std::string_view text);
[[nodiscard]] std::uint64_t parseWithBoostJson(std::string_view text);

}  // namespace qlczephra::bench
