// A fleet of clients and their service in virtual time.
#pragma once

#include <cstdint>

#include "benchmarks/fleet/report.h"
#include "benchmarks/fleet/story.h"

namespace qlczephra::fleet {

// The same seed gives the same report.
[[nodiscard]] Report simulate(const Run& run, std::uint32_t clients, std::uint64_t seed);

}  // namespace qlczephra::fleet
