// Queue of tasks for the thread that runs an event loop.
#pragma once

#include <list>

#include "platform/mutex.h"
#include "platform/queue.h"

namespace qlczephra::platform {

// Thread-safe. Shared by the loop and by everybody who may ever have something for it, however late: what comes after
// `close` is dropped, and the descriptor is gone by then, so that a straggler holds nothing but memory.
class LoopQueue {
 public:
  LoopQueue();  // throws std::system_error when descriptors are short
  ~LoopQueue();
  LoopQueue(const LoopQueue&) = delete;
  LoopQueue& operator=(const LoopQueue&) = delete;

  // Throws std::bad_alloc. When the queue is closed the task is destroyed unrun.
  void post(Task task);
  // Moves prepared tasks into the queue, which needs no memory. Leaves them where they are when it is closed.
  void post(std::list<Task>& tasks) noexcept;
  // Ends the loop's present wait, or the next one.
  void wake() noexcept;
  [[nodiscard]] bool closed() noexcept;

  // For the loop: readable from each wake-up until clearWakeUps().
  [[nodiscard]] int descriptor() const noexcept { return descriptor_; }
  void clearWakeUps() noexcept;
  // Empties the queue.
  std::list<Task> take() noexcept;
  // Returns what was left.
  std::list<Task> close() noexcept;

 private:
  const int descriptor_;
  Mutex mutex_;
  std::list<Task> tasks_ QLCZ_GUARDED_BY(mutex_);
  bool closed_ QLCZ_GUARDED_BY(mutex_) = false;
};

}  // namespace qlczephra::platform
