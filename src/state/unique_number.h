// Numbers that are unique within the process.
#pragma once

#include <atomic>
#include <cstdint>

namespace qlczephra {

// Returns a number that was never returned before, greater than every earlier one and never 0. Thread-safe.
inline std::uint64_t nextUniqueNumber() noexcept {
  static std::atomic<std::uint64_t> last{0};
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

}  // namespace qlczephra
