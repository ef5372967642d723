// Measuring what sleeps: Google Benchmark counts iterations by the CPU time of one thread, which here only waits.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <vector>

namespace qlczephra::bench {

enum class Quantity : std::uint8_t {
  cpu,      // of all threads of this process, the mean
  latency,  // the median, since a machine that does other things too stretches some
};

inline double processCpuNanoseconds() {
  timespec time{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

// One iteration is as many actions as fit into half a second, which is where an iteration count of one settles with a
// --benchmark_min_time of 0.1. The counter "value" gets the nanoseconds of one action. `before` prepares an action;
// latency leaves it out. What was kept of the last measurement may be gone by now, so that `warmUps` come first.
template <typename Before, typename Action>
void measureSlices(::benchmark::State& state, Quantity quantity, int warmUps, Before before, Action action) {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds slice{510};
  for (; warmUps > 0; --warmUps) {
    before();
    action();
  }
  std::vector<double> latencies;
  double cpu = 0;
  for (auto iteration : state) {
    static_cast<void>(iteration);
    const double cpuBefore = processCpuNanoseconds();
    const auto end = Clock::now() + slice;
    do {
      before();
      const auto begin = Clock::now();
      action();
      latencies.push_back(std::chrono::duration<double, std::nano>(Clock::now() - begin).count());
    } while (Clock::now() < end);
    cpu += processCpuNanoseconds() - cpuBefore;
  }
  const auto middle = latencies.begin() + static_cast<std::ptrdiff_t>(latencies.size() / 2);
  std::nth_element(latencies.begin(), middle, latencies.end());
  state.counters["value"] = quantity == Quantity::cpu ? cpu / static_cast<double>(latencies.size()) : *middle;
}

}  // namespace qlczephra::bench
