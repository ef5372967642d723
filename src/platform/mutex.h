// Locks that clang's thread-safety analysis understands. Each lock is held for a short step that neither waits for the
// network nor calls host code.
#pragma once

#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define QLCZ_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define QLCZ_THREAD_ANNOTATION(x)
#endif

#define QLCZ_GUARDED_BY(x) QLCZ_THREAD_ANNOTATION(guarded_by(x))
#define QLCZ_REQUIRES(...) QLCZ_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define QLCZ_EXCLUDES(...) QLCZ_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))

namespace qlczephra::platform {

class QLCZ_THREAD_ANNOTATION(capability("mutex")) Mutex {
 public:
  void lock() QLCZ_THREAD_ANNOTATION(acquire_capability()) { mutex_.lock(); }
  void unlock() QLCZ_THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }

 private:
  friend class CondVar;
  std::mutex mutex_;
};

class QLCZ_THREAD_ANNOTATION(scoped_lockable) MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) QLCZ_THREAD_ANNOTATION(acquire_capability(mutex)) : mutex_(mutex) { mutex_.lock(); }
  ~MutexLock() QLCZ_THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

class CondVar {
 public:
  void wait(Mutex& mutex) QLCZ_REQUIRES(mutex) {
    std::unique_lock<std::mutex> held(mutex.mutex_, std::adopt_lock);
    condition_.wait(held);
    held.release();
  }
  // False when the deadline passed first.
  template <typename TimePoint>
  bool waitUntil(Mutex& mutex, TimePoint deadline) QLCZ_REQUIRES(mutex) {
    std::unique_lock<std::mutex> held(mutex.mutex_, std::adopt_lock);
    const bool notified = condition_.wait_until(held, deadline) == std::cv_status::no_timeout;
    held.release();
    return notified;
  }
  void notifyOne() noexcept { condition_.notify_one(); }
  void notifyAll() noexcept { condition_.notify_all(); }

 private:
  std::condition_variable condition_;
};

}  // namespace qlczephra::platform
