// The test program's own options besides GoogleTest's: --seeds=N and --seed=S, see seeds.h.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string_view>

#include "tests/simulation/seeds.h"

namespace {

#ifdef NDEBUG
constexpr std::uint64_t defaultSeeds = 20'000;
#else
constexpr std::uint64_t defaultSeeds = 2'000;
#endif
std::optional<std::uint64_t> seeds;
std::optional<std::uint64_t> seed;

// The number of an argument that begins with `name`, or else of an environment variable.
std::optional<std::uint64_t> option(int argc, char** argv, std::string_view name, const char* variable) {
  const char* text = std::getenv(variable);
  for (int i = 1; i < argc; ++i) {
    if (std::string_view(argv[i]).starts_with(name)) text = argv[i] + name.size();
  }
  return text == nullptr ? std::nullopt : std::optional<std::uint64_t>(std::strtoull(text, nullptr, 10));
}

}  // namespace

namespace qlczephra::test {

std::uint64_t seedCount() {
  return seeds.value_or(defaultSeeds);
}
std::optional<std::uint64_t> onlySeed() {
  return seed;
}

}  // namespace qlczephra::test

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  seeds = option(argc, argv, "--seeds=", "QLCZEPHRA_SEEDS");
  seed = option(argc, argv, "--seed=", "QLCZEPHRA_SEED");
  return RUN_ALL_TESTS();
}
