#include "manager/published_state.h"

namespace qlczephra {

namespace {

void freeTree(const void* tree) {
  delete static_cast<const Map*>(tree);
}

}  // namespace

PublishedState::~PublishedState() {
  // Nobody reads a state that is being destroyed.
  delete tree_.load();
}

void PublishedState::publish(std::optional<Map> tree) {
  const Map* replaced = tree_.exchange(tree ? new Map(*std::move(tree)) : nullptr, std::memory_order_acq_rel);
  if (replaced != nullptr) platform::retire(replaced, freeTree, workers_);
}

}  // namespace qlczephra
