// The operations of the client interface, one file each. They see a request whose path, method and token were accepted.
#pragma once

#include <string>

#include "service/exchange.h"
#include "service/store.h"

namespace qlczephra::service {

// GET .../settings: the document, or 304 when "If-None-Match" names its tag.
[[nodiscard]] ServiceReply getSettings(const Store& store, const std::string& product, const ServiceRequest& request);

// PATCH .../settings with {"values": {section: {...}}}: 200 with the new tag; 412 when "If-Match" does not name the
// current one; 400 for a body that is not JSON, 422 for one without that map.
[[nodiscard]] ServiceReply patchSettings(Store& store, const std::string& product, const ServiceRequest& request);

// PATCH .../node with {"pns_id": string}: 200; 400 and 422 as above.
[[nodiscard]] ServiceReply patchNode(Store& store, const std::string& product, const ServiceRequest& request);

}  // namespace qlczephra::service
