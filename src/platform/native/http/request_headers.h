// The header lines of a request, in the form in which curl takes them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/http_session.h"

namespace qlczephra::platform {

// The given fields in their order, without those that are the protocol's own business, and an entry for each field that
// curl would add unasked. None when the method or a field cannot be sent: a name that is no token, a value with a line
// break or a NUL.
std::optional<std::vector<std::string>> requestHeaderLines(const HttpRequest& request);

}  // namespace qlczephra::platform
