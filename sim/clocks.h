// The clocks of a simulated world. Time passes only when the world says so; the wall clock can be moved as its user
// would move it, which the monotonic clock does not notice.
#pragma once

#include <chrono>

namespace qlczephra::sim {

class Clocks {
 public:
  using Monotonic = std::chrono::steady_clock::time_point;
  using Wall = std::chrono::system_clock::time_point;

  // Since the world began.
  [[nodiscard]] std::chrono::milliseconds elapsed() const noexcept { return elapsed_; }
  [[nodiscard]] Monotonic monotonic() const noexcept { return monotonicStart + elapsed_; }
  [[nodiscard]] Wall wall() const noexcept { return wallStart_ + elapsed_; }

  // `elapsed` is not before elapsed().
  void passUntil(std::chrono::milliseconds elapsed) noexcept { elapsed_ = elapsed; }
  void moveWall(std::chrono::milliseconds by) noexcept { wallStart_ += by; }

 private:
  static constexpr Monotonic monotonicStart{std::chrono::hours(1)};
  Wall wallStart_{std::chrono::hours(24) * 20000};  // in 2024
  std::chrono::milliseconds elapsed_{0};
};

}  // namespace qlczephra::sim
