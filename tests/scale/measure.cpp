#include "tests/scale/measure.h"

#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace qlczephra::test {

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

// Of this thread alone, so that it does not matter what else the machine does.
Milliseconds processorTime() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

Milliseconds fastest(const Growth& growth, std::size_t bytes, Milliseconds before) {
  for (int run = 0; run < 3; ++run) {
    const Action action = growth.prepare(bytes);
    const Milliseconds begin = processorTime();
    action();
    before = std::min(before, processorTime() - begin);
  }
  return before;
}

}  // namespace

void expectLinear(const Growth& growth) {
  // Two doublings in one comparison: linear gives 4, quadratic 16, and a busy machine some noise.
  constexpr double mostPerDoubling = 3;
  // The kernel hands out large blocks at a cost of its own, which jumps with their size.
  const Milliseconds noise = std::chrono::milliseconds(2) + std::chrono::nanoseconds(3 * largestInput());
  constexpr int attempts = 5;
  const std::size_t sizes[] = {largestInput() / 4, largestInput() / 2, largestInput()};
  Milliseconds times[] = {Milliseconds::max(), Milliseconds::max(), Milliseconds::max()};
  bool isLinear = false;
  for (int attempt = 0; attempt < attempts && !isLinear; ++attempt) {
    for (std::size_t i = 0; i < std::size(sizes); ++i) times[i] = fastest(growth, sizes[i], times[i]);
    isLinear = times[2] <= times[0] * mostPerDoubling * mostPerDoubling + noise;
  }
  std::printf("%-40s %10.2f %10.2f %10.2f ms\n", growth.name, times[0].count(), times[1].count(), times[2].count());
  std::fflush(stdout);
  EXPECT_TRUE(isLinear) << growth.name;
}

}  // namespace qlczephra::test
