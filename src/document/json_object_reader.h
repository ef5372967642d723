// The members of maps inside each other, read without a call for each level: documents nest deeper than a thread has
// stack.
#pragma once

#include <cstddef>

#include "platform/json/token_reader.h"
#include "platform/json/value_reader.h"

namespace qlczephra::document {

// Maps around a section's schema, and around its values: the document, its data, and the sections.
inline constexpr std::size_t depthOfSections = 3;

inline bool failAtComma(json::TokenReader& tokens) {
  return tokens.fail("a comma or a closing bracket is missing");
}

// Reads the map whose bracket was just taken.
//   bool member(std::string_view key)    reads the member's value
template <typename Member>
[[nodiscard]] bool readMembers(json::TokenReader& tokens, json::ValueReader& values, Member member) {
  if (tokens.takeIf('}')) return true;
  for (;;) {
    std::string_view key;
    if (!tokens.takeKey(key) || !member(key) || !values.count()) return false;
    if (const char next = tokens.take(); next != ',') return next == '}' || failAtComma(tokens);
  }
}

// Reads the map whose bracket was just taken, and those inside that `member` opens.
//
// `bool member(std::string_view key, bool& opened)` reads the member's value, or takes the bracket of a map and opens
// it. `bool close()` is told that the innermost map has ended, and tells whether it was the outermost.
template <typename Member, typename Close>
[[nodiscard]] bool readNestedMembers(json::TokenReader& tokens, json::ValueReader& values, Member member, Close close) {
  bool isFirst = true;
  for (;;) {
    bool hasEnded = isFirst && tokens.takeIf('}');
    if (!hasEnded) {
      isFirst = false;
      std::string_view key;
      if (!tokens.takeKey(key) || !member(key, isFirst)) return false;
      if (isFirst) continue;
    }
    // A member is complete, or all of the innermost map, which is a member of the one around it.
    for (;;) {
      if (hasEnded && close()) return true;
      if (!values.count()) return false;
      const char next = tokens.take();
      if (next == ',') break;
      if (next != '}') return failAtComma(tokens);
      hasEnded = true;
    }
    isFirst = false;
  }
}

}  // namespace qlczephra::document
