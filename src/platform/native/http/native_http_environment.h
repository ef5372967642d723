// What the HTTP session needs of its surroundings.
#pragma once

#include <functional>
#include <list>
#include <memory>

#include "platform/log.h"
#include "platform/queue.h"

namespace qlczephra::platform {

class WorkerPool;

// All of it may be called on any thread, until the session's `stop` returns; tasks posted before that may run later.
struct NativeHttpEnvironment {
  // Runs the task on a worker thread, never on the caller's stack. Throws as WorkerPool::post().
  std::function<void(Task)> post;
  // See WorkerPool::tryPost().
  std::function<bool(std::list<Task>&)> tryPost;
  // Bracket host code, and whatever else may keep a worker thread long. After a false no host code may begin, and
  // `hostCodeEnds` is not called.
  std::function<bool()> hostCodeBegins;
  std::function<void()> hostCodeEnds;
  Log* log = nullptr;  // outlives every posted task
};

[[nodiscard]] NativeHttpEnvironment httpEnvironmentOn(const std::shared_ptr<WorkerPool>& pool);

}  // namespace qlczephra::platform
