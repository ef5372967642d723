// What every fuzz target has: its entry, and a check that ends the run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace qlczephra::fuzz {

// Unlike assert(), also in optimised builds.
inline void require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace qlczephra::fuzz
