#include "platform/native/http/native_http_environment.h"

#include <utility>

#include "platform/native/base/native_log.h"
#include "platform/native/threads/worker_pool.h"

namespace qlczephra::platform {

NativeHttpEnvironment httpEnvironmentOn(const std::shared_ptr<WorkerPool>& pool) {
  return {[pool](Task task) { pool->post(std::move(task)); },
          [pool](Task task) { pool->postFirst(std::move(task)); },
          [pool](Task task) { pool->postLast(std::move(task)); },
          [pool](std::chrono::nanoseconds delay, Task task) { pool->postAfter(delay, std::move(task)); },
          [pool] { return pool->hostCodeBegins(); },
          [pool] { pool->hostCodeEnds(); },
          &nativeLog()};
}

}  // namespace qlczephra::platform
