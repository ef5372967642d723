// The control interface under "/control/": scripts faults, replaces documents and shows what happened, over the same
// port. Whoever reaches the port may use it, so it is for loopback only. docs/stand-in-service.md lists the operations.
#pragma once

#include "service/exchange.h"
#include "service/service.h"

namespace qlczephra::service {

[[nodiscard]] bool isControlRequest(const ServiceRequest& request);

// Control requests are neither logged nor subject to faults.
[[nodiscard]] ServiceReply handleControl(Service& service, const ServiceRequest& request);

}  // namespace qlczephra::service
