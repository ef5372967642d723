#include "state/hazard.h"

#include <cstddef>

namespace qlczephra {

namespace detail {

constinit thread_local HazardSlot* hazardSlot = nullptr;
std::atomic<bool> readersFence{true};

}  // namespace detail

namespace {

std::atomic<HazardSlot*> slots{nullptr};

// Set once the thread's SlotOwner is destroyed; later thread-local objects may still read.
constinit thread_local bool ownerDestroyed = false;

// Gives the thread's slot back when the thread ends.
struct SlotOwner {
  HazardSlot* slot = nullptr;
  ~SlotOwner() {
    ownerDestroyed = true;
    detail::hazardSlot = nullptr;
    if (slot != nullptr) slot->taken.store(false, std::memory_order_release);
  }
};

HazardSlot& freeSlot() {
  for (HazardSlot* slot = slots.load(std::memory_order_acquire); slot != nullptr; slot = slot->next) {
    bool expected = false;
    if (slot->taken.compare_exchange_strong(expected, true)) return *slot;
  }
  auto* slot = new HazardSlot;
  slot->taken.store(true);
  slot->next = slots.load();
  while (!slots.compare_exchange_weak(slot->next, slot)) {
  }
  return *slot;
}

}  // namespace

HazardSlot& detail::takeHazardSlot() {
  if (ownerDestroyed) return freeSlot();
  static thread_local SlotOwner owner;
  owner.slot = hazardSlot = &freeSlot();
  return *owner.slot;
}

void useBarrierOf(platform::Platform& platform) noexcept {
  if (detail::readersFence.load() && platform.barrierOnAllThreads()) detail::readersFence.store(false);
}

bool orderReaders(platform::Platform& platform) noexcept {
  if (platform.barrierOnAllThreads()) return true;
  std::atomic_thread_fence(std::memory_order_seq_cst);
  return detail::readersFence.exchange(true);
}

bool isRead(const void* object) noexcept {
  for (HazardSlot* slot = slots.load(std::memory_order_acquire); slot != nullptr; slot = slot->next) {
    if (slot->object.load(std::memory_order_acquire) == object) return true;
  }
  return false;
}

std::size_t hazardSlots() noexcept {
  std::size_t count = 0;
  for (HazardSlot* slot = slots.load(std::memory_order_acquire); slot != nullptr; slot = slot->next) ++count;
  return count;
}

}  // namespace qlczephra
