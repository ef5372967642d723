#include "platform/native/threads/memory_barrier.h"

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace qlczephra::platform {

namespace {

bool membarrier(int command) noexcept {
  return syscall(SYS_membarrier, command, 0, 0) == 0;
}

}  // namespace

bool barrierOnAllThreads() noexcept {
  // Registration makes the expedited command possible.
  static const bool isRegistered = membarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED);
  return isRegistered && membarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED);
}

}  // namespace qlczephra::platform
