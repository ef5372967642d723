// How the time of an operation grows with its input.
#pragma once

#include <cstddef>
#include <functional>

namespace qlczephra::test {

using Action = std::function<void()>;

struct Growth {
  const char* name;
  // Makes an input of about so many bytes; the action is what is measured, once.
  std::function<Action(std::size_t bytes)> prepare;
};

// The largest input, from --megabytes=N or QLCZEPHRA_MEGABYTES; small by default.
[[nodiscard]] std::size_t largestInput();

// Measures inputs of a quarter, a half and the whole of largestInput(), says what it saw, and fails where an input
// twice as large takes more than thrice as long.
void expectLinear(const Growth& growth);

}  // namespace qlczephra::test
