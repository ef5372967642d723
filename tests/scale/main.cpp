// The test program's own option besides GoogleTest's: --megabytes=N, see measure.h.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string_view>

#include "tests/scale/measure.h"

namespace {

#ifdef NDEBUG
std::size_t largest = std::size_t{2} << 20U;
#else
std::size_t largest = std::size_t{1} << 18U;
#endif

}  // namespace

namespace qlczephra::test {

std::size_t largestInput() {
  return largest;
}

}  // namespace qlczephra::test

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  constexpr std::string_view option = "--megabytes=";
  const char* megabytes = std::getenv("QLCZEPHRA_MEGABYTES");
  for (int i = 1; i < argc; ++i) {
    if (std::string_view(argv[i]).starts_with(option)) megabytes = argv[i] + option.size();
  }
  if (megabytes != nullptr) largest = std::strtoull(megabytes, nullptr, 10) << 20U;
  return RUN_ALL_TESTS();
}
