#include "benchmarks/fleet/event_queue.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace qlczephra::fleet {

namespace {

// Clients that arrive at the same time are told apart, so that the order depends on nothing else.
bool isLater(const Arrival& one, const Arrival& other) noexcept {
  return std::tie(one.at, one.client) > std::tie(other.at, other.client);
}

}  // namespace

void EventQueue::add(std::int64_t at, std::uint32_t client) {
  const auto second = static_cast<std::size_t>(at / 1000);
  if (second >= later_.size()) return;
  const Arrival arrival{static_cast<std::uint32_t>(at), client};
  if (second > second_) {
    later_[second].push_back(arrival);
    return;
  }
  present_.push_back(arrival);
  std::push_heap(present_.begin(), present_.end(), isLater);
}

std::optional<Arrival> EventQueue::next() {
  while (present_.empty()) {
    if (++second_ >= later_.size()) return std::nullopt;
    present_ = std::exchange(later_[second_], {});
    std::make_heap(present_.begin(), present_.end(), isLater);
  }
  std::pop_heap(present_.begin(), present_.end(), isLater);
  const Arrival arrival = present_.back();
  present_.pop_back();
  return arrival;
}

}  // namespace qlczephra::fleet
