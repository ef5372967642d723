// Which seeds a run of the simulation tells.
#pragma once

#include <cstdint>
#include <optional>

namespace qlczephra::test {

// From --seeds=N or QLCZEPHRA_SEEDS: how many, from 0 on. Fewer by default where the build is slow.
[[nodiscard]] std::uint64_t seedCount();
// From --seed=S or QLCZEPHRA_SEED: the only one, whose history is then printed.
[[nodiscard]] std::optional<std::uint64_t> onlySeed();

}  // namespace qlczephra::test
