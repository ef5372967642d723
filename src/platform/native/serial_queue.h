// A serial queue on the worker pool. It has no thread: while it has tasks, one of them is posted to the pool.
#pragma once

#include <chrono>
#include <deque>
#include <memory>

#include "platform/mutex.h"
#include "platform/queue.h"

namespace qlczephra::platform {

class WorkerPool;

class PoolSerialQueue : public SerialQueue {
 public:
  explicit PoolSerialQueue(const std::shared_ptr<WorkerPool>& pool);
  void post(Task task) override;
  void postAfter(std::chrono::seconds delay, Task task) override;

 private:
  // Outlives the queue object until the last task has run.
  struct State {
    explicit State(const std::shared_ptr<WorkerPool>& workers) : pool(workers) {}
    const std::weak_ptr<WorkerPool> pool;
    Mutex mutex;
    std::deque<Task> tasks QLCZ_GUARDED_BY(mutex);
    bool active QLCZ_GUARDED_BY(mutex) = false;  // a turn is posted to the pool or running
  };
  static void append(const std::shared_ptr<State>& state, Task task);
  static void takeTurn(const std::shared_ptr<State>& state);

  const std::shared_ptr<State> state_;
};

}  // namespace qlczephra::platform
