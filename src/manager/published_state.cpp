#include "manager/published_state.h"

namespace qlczephra {

namespace {

void freeRevision(const void* revision) {
  delete static_cast<const Revision*>(revision);
}

std::uint64_t nextNumber() noexcept {
  static std::atomic<std::uint64_t> last{0};
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

}  // namespace

PublishedState::~PublishedState() {
  // Nobody reads a state that is being destroyed.
  delete revision_.load();
}

void PublishedState::publish(std::optional<Map> tree) {
  const Revision* next = tree ? new Revision{*std::move(tree), nextNumber(), 0} : nullptr;
  const Revision* replaced = revision_.exchange(next, std::memory_order_acq_rel);
  if (replaced != nullptr) platform::retire(replaced, freeRevision, workers_);
}

void PublishedState::publishChanged(Map tree, std::uint64_t settledPatch) {
  const auto* next = new Revision{std::move(tree), nextNumber(), settledPatch};
  const Revision* replaced = revision_.exchange(next, std::memory_order_acq_rel);
  if (replaced != nullptr) platform::retireSmall(replaced, freeRevision, workers_);
}

}  // namespace qlczephra
