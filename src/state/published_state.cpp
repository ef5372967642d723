#include "state/published_state.h"

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
  const std::uint64_t number = nextNumber();
  const Revision* replaced = replace(tree ? new Revision{*std::move(tree), number, 0} : nullptr, number);
  if (replaced != nullptr) platform::retire(replaced, freeRevision, workers_);
}

void PublishedState::publishChanged(Map tree, std::uint64_t settledPatch) {
  const std::uint64_t number = nextNumber();
  const Revision* replaced = replace(new Revision{std::move(tree), number, settledPatch}, number);
  if (replaced != nullptr) platform::retireSmall(replaced, freeRevision, workers_);
}

const Revision* PublishedState::replace(const Revision* next, std::uint64_t number) {
  std::uint64_t newest = number_.load(std::memory_order_relaxed);
  while (newest < number && !number_.compare_exchange_weak(newest, number, std::memory_order_acq_rel)) {
  }
  for (;;) {
    const platform::HazardGuard<const Revision> guard(revision_);
    const Revision* present = guard.get();
    if (present != nullptr && present->number > number) return next;
    if (revision_.compare_exchange_strong(present, next, std::memory_order_acq_rel)) return present;
  }
}

}  // namespace qlczephra
