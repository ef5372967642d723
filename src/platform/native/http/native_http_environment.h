// What the HTTP session needs of its surroundings.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "platform/log.h"
#include "platform/queue.h"

namespace qlczephra::platform {

class WorkerPool;

// All of it may be called on any thread, until the session's `stop` returns; tasks posted before that may run later.
struct NativeHttpEnvironment {
  // Run the task on a worker thread, never on the caller's stack.
  std::function<void(Task)> post;
  std::function<void(Task)> postFirst;  // before all that waits
  std::function<void(Task)> postLast;   // see WorkerPool::postLast()
  std::function<void(std::chrono::nanoseconds, Task)> postAfter;
  // Bracket host code, and whatever else may keep a worker thread long. After a false no host code may begin, and
  // `hostCodeEnds` is not called.
  std::function<bool()> hostCodeBegins;
  std::function<void()> hostCodeEnds;
  Log* log = nullptr;  // outlives every posted task
};

[[nodiscard]] NativeHttpEnvironment httpEnvironmentOn(const std::shared_ptr<WorkerPool>& pool);

}  // namespace qlczephra::platform
