// Queues on which the library runs its work. Tasks must not let exceptions out. Posting throws, before anything has
// changed, where nobody could run the task: std::bad_alloc, and std::system_error when there is no thread.
#pragma once

#include <chrono>
#include <functional>

namespace qlczephra::platform {

using Task = std::function<void()>;

// Runs tasks one after the other, in the order in which they were posted. Destroying the queue object cancels nothing:
// what was posted still runs. Any thread may post.
class SerialQueue {
 public:
  virtual ~SerialQueue() = default;
  virtual void post(Task task) = 0;
  // A task that runs after all posted before it and before all posted after it. On a serial queue that is any task; the
  // operation exists so that the call says what it relies on.
  virtual void postBarrier(Task task) { post(std::move(task)); }
  // Posts the task once `delay` has passed on the monotonic clock. Negative delays count as zero.
  virtual void postAfter(std::chrono::seconds delay, Task task) = 0;
};

// Runs tasks on a shared set of threads, in any order and at the same time.
class WorkerQueue {
 public:
  virtual ~WorkerQueue() = default;
  virtual void post(Task task) = 0;
  // Posts the task once the wall clock shows `deadline`, also when that clock is moved while the task waits.
  virtual void postAt(std::chrono::system_clock::time_point deadline, Task task) = 0;
};

}  // namespace qlczephra::platform
