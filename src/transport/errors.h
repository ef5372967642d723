// The errors that the manager makes itself.
#pragma once

#include "qlczephra/error.h"
#include "qlczephra/error_code.h"

namespace qlczephra {

[[nodiscard]] ErrorRef makeError(ZephraErrorCode code);

// With the description "Bad zephra response: code - <status>".
[[nodiscard]] ErrorRef errorWithCode(ZephraErrorCode code, int serverResponseCode);

// What ends a call for which there is no memory: `unexpectedResponse` with status 0. Made with the first call.
[[nodiscard]] const ErrorRef& outOfMemoryError();

}  // namespace qlczephra
