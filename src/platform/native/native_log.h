// The process's log: the sink that the host set, or standard error.
#pragma once

#include "platform/log.h"

namespace qlczephra::platform {

// Lives as long as the process. Any thread.
Log& nativeLog() noexcept;

}  // namespace qlczephra::platform
