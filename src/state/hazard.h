// Hazard pointers: reading a shared object that another thread may replace, without a lock or a wait.
//
// Each thread has one slot, in which it names the object that it reads. Who replaced an object frees it once no slot
// names it. A reader pays two loads and a store; the full barrier between them is the reclaiming side's
// (Platform::barrierOnAllThreads()), or the reader's where the machine has no such barrier.
#pragma once

#include <atomic>

#include "platform/platform.h"

namespace qlczephra {

struct HazardSlot {
  std::atomic<const void*> object{nullptr};
  std::atomic<bool> taken{false};
  HazardSlot* next = nullptr;  // all slots ever made; none is freed
};

namespace detail {
// Null until the thread's first read and once its thread-local objects are destroyed. Initial-exec keeps the access to
// one instruction inside the shared library too.
extern constinit thread_local HazardSlot* hazardSlot __attribute__((tls_model("initial-exec")));
// Whether readers order their store and load themselves.
extern std::atomic<bool> readersFence;
// Throws std::bad_alloc when a new slot is needed.
HazardSlot& takeHazardSlot();
}  // namespace detail

// Keeps the present object of `source` from being freed. Not to be nested on one thread, nor used in a signal handler.
template <typename T>
class HazardGuard {
 public:
  // Throws std::bad_alloc on a thread's first use.
  explicit HazardGuard(const std::atomic<T*>& source)
      : slot_(detail::hazardSlot != nullptr ? *detail::hazardSlot : detail::takeHazardSlot()) {
    T* seen = source.load(std::memory_order_acquire);
    for (;;) {
      slot_.object.store(seen, std::memory_order_release);
      if (detail::readersFence.load(std::memory_order_relaxed)) {
        std::atomic_thread_fence(std::memory_order_seq_cst);
      } else {
        std::atomic_signal_fence(std::memory_order_seq_cst);
      }
      T* again = source.load(std::memory_order_acquire);
      if (again == seen) break;
      seen = again;
    }
    object_ = seen;
  }
  ~HazardGuard() {
    slot_.object.store(nullptr, std::memory_order_release);
    // A thread whose thread-local objects are gone has nobody left to give its slot back later.
    if (detail::hazardSlot == nullptr) slot_.taken.store(false, std::memory_order_release);
  }
  HazardGuard(const HazardGuard&) = delete;
  HazardGuard& operator=(const HazardGuard&) = delete;

  [[nodiscard]] T* get() const noexcept { return object_; }

 private:
  HazardSlot& slot_;
  T* object_;
};

// Lets readers go without a barrier of their own where `platform` has one for all threads. To be called before the
// first object is published.
void useBarrierOf(platform::Platform& platform) noexcept;

// Orders this thread's stores before all later loads of readers and their stores before the loads of isRead(). Returns
// false where that cannot be said, because the machine has just withdrawn its barrier; it can the next time.
[[nodiscard]] bool orderReaders(platform::Platform& platform) noexcept;

// Returns whether a reader names `object`, which was replaced before the last orderReaders().
[[nodiscard]] bool isRead(const void* object) noexcept;

// Returns the number of slots ever made.
[[nodiscard]] std::size_t hazardSlots() noexcept;

}  // namespace qlczephra
