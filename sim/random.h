// The one source of chance in a simulated world: the same seed gives the same world.
#pragma once

#include <chrono>
#include <cstdint>

namespace qlczephra::sim {

class Random {
 public:
  explicit Random(std::uint64_t seed) noexcept : state_(seed) {}

  // Uniform over the whole range (SplitMix64).
  std::uint64_t next() noexcept {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31U);
  }

  // Uniform below `limit`, which is not 0 and far smaller than the whole range.
  std::uint64_t below(std::uint64_t limit) noexcept { return next() % limit; }

  // True with the given probability; 0 and 1 are certain and draw nothing.
  bool chance(double probability) noexcept {
    if (probability <= 0) return false;
    return probability >= 1 || static_cast<double>(next() >> 11U) * 0x1p-53 < probability;
  }

  std::chrono::milliseconds between(std::chrono::milliseconds shortest, std::chrono::milliseconds longest) noexcept {
    if (longest <= shortest) return shortest;
    const auto range = static_cast<std::uint64_t>((longest - shortest).count()) + 1;
    return shortest + std::chrono::milliseconds(below(range));
  }

 private:
  std::uint64_t state_;
};

}  // namespace qlczephra::sim
