// The errors that the manager makes itself.
#pragma once

#include "qlczephra/error.h"
#include "qlczephra/manager.h"

namespace qlczephra {

[[nodiscard]] ErrorRef makeError(QLCZephraManager::ZephraErrorCode code);

// With the description "Bad zephra response: code - <status>".
[[nodiscard]] ErrorRef errorWithCode(QLCZephraManager::ZephraErrorCode code, int serverResponseCode);

}  // namespace qlczephra
