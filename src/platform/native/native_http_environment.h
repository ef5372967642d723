// What the HTTP session needs of its surroundings.
#pragma once

#include <functional>

#include "platform/log.h"
#include "platform/queue.h"

namespace qlczephra::platform {

// All of it may be called on the session's network thread and on worker threads, until the session's `stop` returns;
// tasks posted before that may run later.
struct NativeHttpEnvironment {
  // Runs the task on a worker thread, never on the caller's stack.
  std::function<void(Task)> post;
  // Bracket host code on a worker thread. After a false no host code may begin, and `hostCodeEnds` is not called.
  std::function<bool()> hostCodeBegins;
  std::function<void()> hostCodeEnds;
  Log* log = nullptr;  // outlives every posted task
};

}  // namespace qlczephra::platform
