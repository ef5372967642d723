// Stall detector: whether a transfer still moves, and whether it takes too long.
//
// Progress is whatever the peer or the network did: a descriptor became readable or writable, or the kernel received or
// got acknowledged a byte (a large body may sit in the kernel's buffer for long while the peer takes it slowly).
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

namespace qlczephra::platform {

// Belongs to the network thread.
class StallDetector {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  StallDetector(std::chrono::milliseconds longestWait, std::chrono::milliseconds longestDuration)
      : longestWait_(longestWait), longestDuration_(longestDuration) {}

  void begin(TimePoint now) { begun_ = lastProgress_ = now; }

  void note(TimePoint now) { lastProgress_ = now; }
  // Looks at the byte counters of the transfer's open sockets.
  void sample(const std::vector<int>& sockets, TimePoint now);
  // From now on the transfer counts as stalled: nobody waits for its socket.
  void giveUp() { isGivenUp_ = true; }
  [[nodiscard]] bool stalled(TimePoint now) const { return isGivenUp_ || now - lastProgress_ >= longestWait_; }
  [[nodiscard]] bool isOverdue(TimePoint now) const { return now - begun_ >= longestDuration_; }
  // How often `sample` must be called for a stall to be seen in time.
  [[nodiscard]] std::chrono::milliseconds interval() const;

 private:
  std::chrono::milliseconds longestWait_;
  std::chrono::milliseconds longestDuration_;
  TimePoint begun_;
  TimePoint lastProgress_;
  std::uint64_t bytes_ = 0;
  bool isGivenUp_ = false;
};

// Returns the bytes that a socket has received since it was connected; 0 when the kernel does not tell.
[[nodiscard]] std::uint64_t bytesReceived(int socket) noexcept;

}  // namespace qlczephra::platform
