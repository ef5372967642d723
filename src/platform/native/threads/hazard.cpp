#include "platform/hazard.h"

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <thread>
#include <utility>
#include <vector>

#include "platform/mutex.h"

namespace qlczephra::platform {

namespace detail {

constinit thread_local HazardSlot* hazardSlot = nullptr;
std::atomic<bool> readersFence{false};

}  // namespace detail

namespace {

struct Retired {
  const void* object;
  void (*release)(const void*);
};

// Lives as long as the process: threads may read until its very end.
struct Domain {
  std::atomic<HazardSlot*> slots{nullptr};
  Mutex mutex;
  std::vector<Retired> retired QLCZ_GUARDED_BY(mutex);
  bool scheduled QLCZ_GUARDED_BY(mutex) = false;
};

long membarrier(int command) noexcept {
  return syscall(SYS_membarrier, command, 0, 0);
}

Domain& domain() {
  static Domain* const instance = [] {
    // Registration makes the expedited command possible; where it fails, readers order themselves from the start.
    if (membarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED) != 0) detail::readersFence.store(true);
    return new Domain;
  }();
  return *instance;
}

// Gives the thread's slot back when the thread ends.
struct SlotOwner {
  HazardSlot* slot = nullptr;
  ~SlotOwner() {
    detail::hazardSlot = nullptr;
    if (slot != nullptr) slot->taken.store(false, std::memory_order_release);
  }
};

// After this the slots name all that is being read of what was replaced before. False when that cannot be said: the
// kernel has taken its promise back, and readers that began before they heard of it have not ordered themselves.
bool orderReaders() noexcept {
  if (!detail::readersFence.load()) {
    if (membarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED) == 0) return true;
    detail::readersFence.store(true);
    return false;
  }
  std::atomic_thread_fence(std::memory_order_seq_cst);
  return true;
}

bool isRead(const void* object) noexcept {
  for (HazardSlot* slot = domain().slots.load(std::memory_order_acquire); slot != nullptr; slot = slot->next) {
    if (slot->object.load(std::memory_order_acquire) == object) return true;
  }
  return false;
}

// Frees those that nobody reads, and gives the others.
std::vector<Retired> released(std::vector<Retired> candidates) {
  if (!orderReaders()) return candidates;
  std::vector<const void*> inUse;
  for (HazardSlot* slot = domain().slots.load(std::memory_order_acquire); slot != nullptr; slot = slot->next) {
    if (const void* object = slot->object.load(std::memory_order_acquire)) inUse.push_back(object);
  }
  std::sort(inUse.begin(), inUse.end());
  std::vector<Retired> kept;
  for (const Retired& candidate : candidates) {
    if (std::binary_search(inUse.begin(), inUse.end(), candidate.object)) {
      kept.push_back(candidate);
    } else {
      candidate.release(candidate.object);
    }
  }
  return kept;
}

}  // namespace

HazardSlot& detail::takeHazardSlot() {
  static thread_local SlotOwner owner;
  Domain& all = domain();
  for (HazardSlot* slot = all.slots.load(std::memory_order_acquire); slot != nullptr; slot = slot->next) {
    bool expected = false;
    if (slot->taken.compare_exchange_strong(expected, true)) {
      owner.slot = hazardSlot = slot;
      return *slot;
    }
  }
  auto* slot = new HazardSlot;
  slot->taken.store(true);
  slot->next = all.slots.load();
  while (!all.slots.compare_exchange_weak(slot->next, slot)) {
  }
  owner.slot = hazardSlot = slot;
  return *slot;
}

void reclaimRetired() {
  Domain& all = domain();
  std::vector<Retired> candidates;
  {
    const MutexLock lock(all.mutex);
    candidates.swap(all.retired);
    all.scheduled = false;
  }
  // A read takes nanoseconds, unless its thread is not running just now.
  constexpr int attempts = 3;
  for (int attempt = 0; attempt < attempts && !candidates.empty(); ++attempt) {
    if (attempt > 0) std::this_thread::yield();
    candidates = released(std::move(candidates));
  }
  if (candidates.empty()) return;
  // Still being read: they go with the next ones.
  const MutexLock lock(all.mutex);
  all.retired.insert(all.retired.end(), candidates.begin(), candidates.end());
}

void retire(const void* object, void (*release)(const void*), WorkerQueue& workers) {
  constexpr std::size_t tooManyToWaitFor = 64;  // the worker may be busy, or gone at the end of the process
  bool schedule = false;
  bool now = false;
  Domain& all = domain();
  {
    const MutexLock lock(all.mutex);
    all.retired.push_back({object, release});
    now = all.retired.size() >= tooManyToWaitFor;
    schedule = !now && !std::exchange(all.scheduled, true);
  }
  // No thread is woken for it, which would cost more than freeing what differs between two trees as a rule.
  if (now || (schedule && !workers.postToThisThread(reclaimRetired))) reclaimRetired();
}

void retireSmall(const void* object, void (*release)(const void*), WorkerQueue& workers) {
  if (orderReaders() && !isRead(object)) {
    release(object);
  } else {
    retire(object, release, workers);
  }
}

}  // namespace qlczephra::platform
