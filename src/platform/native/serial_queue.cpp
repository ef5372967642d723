#include "platform/native/serial_queue.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "platform/native/worker_pool.h"

namespace qlczephra::platform {

PoolSerialQueue::PoolSerialQueue(const std::shared_ptr<WorkerPool>& pool) : state_(std::make_shared<State>(pool)) {}

void PoolSerialQueue::post(Task task) {
  append(state_, std::move(task));
}

void PoolSerialQueue::postAfter(std::chrono::seconds delay, Task task) {
  constexpr std::chrono::seconds longest =
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::nanoseconds::max());
  if (delay <= std::chrono::seconds::zero()) {
    append(state_, std::move(task));
    return;
  }
  const auto pool = state_->pool.lock();
  if (pool == nullptr) return;
  pool->postAfter(std::min(delay, longest),
                  [state = state_, task = std::move(task)]() mutable { append(state, std::move(task)); });
}

void PoolSerialQueue::append(const std::shared_ptr<State>& state, Task task) {
  {
    const MutexLock lock(state->mutex);
    state->tasks.push_back(std::move(task));
    if (std::exchange(state->active, true)) return;
  }
  if (const auto pool = state->pool.lock()) pool->post([state] { takeTurn(state); });
}

// One task a turn, so that a busy queue does not keep the others waiting.
void PoolSerialQueue::takeTurn(const std::shared_ptr<State>& state) {
  Task task;
  {
    const MutexLock lock(state->mutex);
    task = std::move(state->tasks.front());
    state->tasks.pop_front();
  }
  struct NextTurn {
    const std::shared_ptr<State>& state;
    // Also when the task threw.
    ~NextTurn() {
      {
        const MutexLock lock(state->mutex);
        state->active = !state->tasks.empty();
        if (!state->active) return;
      }
      if (const auto pool = state->pool.lock()) pool->post([state = state] { takeTurn(state); });
    }
  } const nextTurn{state};
  task();
  task = nullptr;  // what it captured goes before the next task begins
}

}  // namespace qlczephra::platform
