#include "platform/native/http/native_http_environment.h"

#include <utility>

#include "platform/native/base/native_log.h"
#include "platform/native/threads/worker_pool.h"

namespace qlczephra::platform {

NativeHttpEnvironment httpEnvironmentOn(const std::shared_ptr<WorkerPool>& pool) {
  return {[pool](Task task) { pool->post(std::move(task)); },
          [pool](std::list<Task>& tasks) { return pool->tryPost(tasks); }, [pool] { return pool->hostCodeBegins(); },
          [pool] { pool->hostCodeEnds(); }, &nativeLog()};
}

}  // namespace qlczephra::platform
