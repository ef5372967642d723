// Reading a shared pointer that another thread may replace at any moment, without a lock, a wait or a shared write.
//
// Each thread has one slot in which it names the object that it is reading. Who replaces the object retires the old
// one; it is freed once no slot names it. The reader pays two plain loads and a store: the memory barrier that this
// needs is paid by the reclaiming side (membarrier), or by the reader where the kernel refuses that call.
#pragma once

#include <atomic>

#include "platform/queue.h"

namespace qlczephra::platform {

struct HazardSlot {
  std::atomic<const void*> object{nullptr};
  std::atomic<bool> taken{false};
  HazardSlot* next = nullptr;  // all slots ever made; none is freed
};

namespace detail {
// Initial-exec keeps the access to one instruction inside the shared library too.
extern constinit thread_local HazardSlot* hazardSlot __attribute__((tls_model("initial-exec")));
// Whether readers have to order their store and load themselves.
extern std::atomic<bool> readersFence;
HazardSlot& takeHazardSlot();
}  // namespace detail

// Holds the present object of `source` safe from being freed. Not to be nested on one thread.
template <typename T>
class HazardGuard {
 public:
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
  ~HazardGuard() { slot_.object.store(nullptr, std::memory_order_release); }
  HazardGuard(const HazardGuard&) = delete;
  HazardGuard& operator=(const HazardGuard&) = delete;

  [[nodiscard]] T* get() const noexcept { return object_; }

 private:
  HazardSlot& slot_;
  T* object_;
};

// Frees `object` with `release` once no thread reads it any more: on one of the `workers` when its present task has
// ended, on another thread at once. To be called after the pointer to it was replaced. `release` must neither throw nor
// call host code.
void retire(const void* object, void (*release)(const void*), WorkerQueue& workers);

// The same for what is freed in no time: it goes here and now, on any thread, unless somebody reads it.
void retireSmall(const void* object, void (*release)(const void*), WorkerQueue& workers);

// Frees at once what was retired and is not being read.
void reclaimRetired();

}  // namespace qlczephra::platform
