#include "platform/native/threads/serial_queue.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "platform/native/threads/worker_pool.h"

namespace qlczephra::platform {

PoolSerialQueue::PoolSerialQueue(const std::shared_ptr<WorkerPool>& pool) : pool_(pool) {}

void PoolSerialQueue::post(Task task) {
  std::list<Task> added;
  added.push_back(std::move(task));
  {
    const MutexLock lock(mutex_);
    tasks_.splice(tasks_.end(), added);
    if (std::exchange(active_, true)) return;
  }
  postTurn(&WorkerPool::post);
}

void PoolSerialQueue::postAfter(std::chrono::seconds delay, Task task) {
  constexpr std::chrono::seconds longest =
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::nanoseconds::max());
  if (delay <= std::chrono::seconds::zero()) {
    post(std::move(task));
    return;
  }
  const auto pool = pool_.lock();
  if (pool == nullptr) return;
  pool->postAfter(std::min(delay, longest),
                  [self = shared_from_this(), task = std::move(task)]() mutable { self->post(std::move(task)); });
}

void PoolSerialQueue::postTurn(void (WorkerPool::*postTask)(Task)) {
  if (const auto pool = pool_.lock()) ((*pool).*postTask)([self = shared_from_this()] { self->takeTurn(); });
}

// One task a turn, so that a busy queue does not keep the others waiting.
void PoolSerialQueue::takeTurn() {
  std::list<Task> turn;
  {
    const MutexLock lock(mutex_);
    turn.splice(turn.end(), tasks_, tasks_.begin());
  }
  struct NextTurn {
    PoolSerialQueue& queue;
    // Also when the task threw.
    ~NextTurn() {
      {
        const MutexLock lock(queue.mutex_);
        queue.active_ = !queue.tasks_.empty();
        if (!queue.active_) return;
      }
      queue.postTurn(&WorkerPool::postLast);
    }
  };
  const NextTurn nextTurn{*this};
  // What the task captured goes before the next one begins.
  const std::list<Task> task = std::move(turn);
  task.front()();
}

}  // namespace qlczephra::platform
