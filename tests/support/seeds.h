// How many random cases a test tries: all of them in an optimised build, a tenth in a developer's.
#pragma once

#include <cstdint>

namespace qlczephra::test {

constexpr std::uint64_t seedsOf(std::uint64_t all) noexcept {
#ifdef NDEBUG
  return all;
#else
  return all / 10;
#endif
}

}  // namespace qlczephra::test
