#include "platform/native/threads/serial_queue.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "platform/native/threads/worker_pool.h"

namespace qlczephra::platform {

PoolSerialQueue::PoolSerialQueue(const std::shared_ptr<WorkerPool>& pool) : pool_(pool) {}

void PoolSerialQueue::post(Task task) {
  std::list<Task> added;
  added.push_back(std::move(task));
  const MutexLock lock(mutex_);
  add(added);
}

void PoolSerialQueue::add(std::list<Task>& tasks) {
  // The turn waits for the lock.
  if (!active_) postTurn();
  active_ = true;
  tasks_.splice(tasks_.end(), tasks);
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
  auto due = std::make_shared<std::list<Task>>();
  due->push_back(std::move(task));
  pool->postAfter(std::min(delay, longest), [self = shared_from_this(), due = std::move(due)] {
    {
      const MutexLock lock(self->mutex_);
      const bool turnIsOnItsWay = std::exchange(self->active_, true);
      self->tasks_.splice(self->tasks_.end(), *due);
      if (turnIsOnItsWay) return;
    }
    self->takeTurn();
  });
}

void PoolSerialQueue::postTurn() {
  if (const auto pool = pool_.lock()) pool->post([self = shared_from_this()] { self->takeTurn(); });
}

// One task a turn, so that a busy queue does not keep the others waiting.
void PoolSerialQueue::takeTurn() noexcept {
  do {
    std::list<Task> turn;
    {
      const MutexLock lock(mutex_);
      turn.splice(turn.end(), tasks_, tasks_.begin());
    }
    // What the task captured goes before the next one begins.
    runTask(turn.front());
  } while (goesOn());
}

bool PoolSerialQueue::goesOn() noexcept {
  const MutexLock lock(mutex_);
  active_ = !tasks_.empty();
  if (!active_) return false;
  try {
    postTurn();
    return false;
  } catch (const std::exception&) {  // no memory for another turn
    return true;
  }
}

}  // namespace qlczephra::platform
