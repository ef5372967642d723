// The token that tests' hosts use, and the check that it shows nowhere: fixtures look through every log line, error and
// file that a test has left.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace qlczephra::test {

inline constexpr const char* secretToken = "a-token-that-nobody-may-see";

// Ends the test program when the token stands in `text`, which came from `where`.
inline void requireNoToken(std::string_view text, const char* where) {
  if (text.find(secretToken) == std::string_view::npos) return;
  std::fprintf(stderr, "the token was found in %s: %.*s\n", where, static_cast<int>(text.size()), text.data());
  std::abort();
}

}  // namespace qlczephra::test
