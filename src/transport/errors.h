// The errors that the manager makes itself.
#pragma once

#include "qlczephra/error.h"
#include "qlczephra/error_code.h"

namespace qlczephra {

[[nodiscard]] ErrorRef makeError(ZephraErrorCode code);

// With the description "Bad zephra response: code - <status>".
[[nodiscard]] ErrorRef errorWithCode(ZephraErrorCode code, int serverResponseCode);

}  // namespace qlczephra
