// What this process holds of the system, for tests that nothing is left behind.
#pragma once

#include <cstddef>
#include <filesystem>
#include <iterator>

namespace qlczephra::test {

// Each counts what is there now, the descriptor of the look itself included.
inline std::ptrdiff_t openDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}
inline std::ptrdiff_t threadsOfProcess() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"), std::filesystem::directory_iterator());
}

}  // namespace qlczephra::test
