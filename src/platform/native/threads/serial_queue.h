// A serial queue on the worker pool. It has no thread: while it has tasks, one of them is posted to the pool.
#pragma once

#include <chrono>
#include <list>
#include <memory>

#include "platform/mutex.h"
#include "platform/queue.h"

namespace qlczephra::platform {

class WorkerPool;

// Lives until the last task has run, whoever lets go of it before.
class PoolSerialQueue final : public SerialQueue, public std::enable_shared_from_this<PoolSerialQueue> {
 public:
  explicit PoolSerialQueue(const std::shared_ptr<WorkerPool>& pool);
  // Both throw as WorkerPool::post().
  void post(Task task) override;
  void postAfter(std::chrono::seconds delay, Task task) override;

 private:
  // Posts a turn unless one is on its way, and moves the tasks in behind. Throws before anything has changed.
  void add(std::list<Task>& tasks) QLCZ_REQUIRES(mutex_);
  void takeTurn() noexcept QLCZ_EXCLUDES(mutex_);
  // After a task: returns whether the next one is to run in the same turn.
  bool goesOn() noexcept QLCZ_EXCLUDES(mutex_);
  void postTurn();

  const std::weak_ptr<WorkerPool> pool_;
  Mutex mutex_;
  // A list, since most queues are empty most of the time and a deque takes half a kilobyte then.
  std::list<Task> tasks_ QLCZ_GUARDED_BY(mutex_);
  bool active_ QLCZ_GUARDED_BY(mutex_) = false;  // a turn is posted to the pool or running
};

}  // namespace qlczephra::platform
