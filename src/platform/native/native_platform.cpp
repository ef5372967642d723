#include "platform/native/native_platform.h"

#include <sys/random.h>

#include <cerrno>
#include <utility>

#include "platform/json/json.h"
#include "platform/native/base/native_log.h"
#include "platform/native/threads/memory_barrier.h"

namespace qlczephra::platform {

NativePlatform::NativePlatform() : pool_(WorkerPool::make()), http_(httpEnvironmentOn(pool_)) {}

std::shared_ptr<SerialQueue> NativePlatform::makeSerialQueue(const std::string&) {
  return pool_->makeSerialQueue();
}

Log& NativePlatform::log() {
  return nativeLog();
}

std::uint32_t NativePlatform::secureRandom() {
  std::uint32_t result = 0;
  // Small requests are never cut short; only a signal before the pool of the system is ready can interrupt.
  while (::getrandom(&result, sizeof result, 0) < 0 && errno == EINTR) {
  }
  return result;
}

bool NativePlatform::barrierOnAllThreads() noexcept {
  return platform::barrierOnAllThreads();
}

void NativePlatform::stop() {
  http_.stop();
  pool_->stop();
}

namespace {

// Ends the threads when the process ends in good order, before the objects that were made earlier go.
struct Process {
  NativePlatform& platform = *new NativePlatform;
  Process() {
    guardLogSinkWith(platform);
    // The JSON parser keeps static objects from its first use on. That is here, and not on a worker later, so that they
    // go after the workers.
    static_cast<void>(json::read("0"));
  }
  ~Process() { platform.stop(); }
};

}  // namespace

Platform& nativePlatform() {
  static Process process;
  return process.platform;
}

}  // namespace qlczephra::platform
