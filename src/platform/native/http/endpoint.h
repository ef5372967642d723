// The server that a URL names.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace qlczephra::platform {

struct Endpoint {
  bool secure = false;  // https
  std::string host;     // as in the URL, without brackets for an IPv6 address
  std::uint16_t port = 0;
  bool numeric = false;  // `host` is an address, not a name
};

// None unless the URL is a complete http or https URL.
std::optional<Endpoint> parseEndpoint(const std::string& url);

}  // namespace qlczephra::platform
