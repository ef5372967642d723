// Arrivals at the service in the order of their time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace qlczephra::fleet {

struct Arrival {
  std::uint32_t at;  // milliseconds since the story began
  std::uint32_t client;
};

// One list a second, brought into order when its turn comes: ten million arrivals would be slow in one heap.
class EventQueue {
 public:
  explicit EventQueue(std::uint32_t seconds) : later_(seconds) {}

  // Not before the arrival that next() gave last. One after the end of the story is dropped.
  void add(std::int64_t at, std::uint32_t client);
  // None at the end of the story.
  [[nodiscard]] std::optional<Arrival> next();

 private:
  std::vector<std::vector<Arrival>> later_;  // by second; that of the present second stays empty
  std::vector<Arrival> present_;             // a heap
  std::size_t second_ = 0;                   // of `present_`
};

}  // namespace qlczephra::fleet
