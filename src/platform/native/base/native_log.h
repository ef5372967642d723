// The process's log: the sink that the host set, or standard error.
#pragma once

#include "platform/log.h"

namespace qlczephra::platform {

class Platform;

// Lives as long as the process. Any thread.
Log& nativeLog() noexcept;

// From now on the host's sink is bracketed as host code on `platform`, which lives as long as the process.
void guardLogSinkWith(Platform& platform) noexcept;

}  // namespace qlczephra::platform
