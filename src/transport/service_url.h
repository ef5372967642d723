// URLs as text (RFC 3986), as far as the service's interface needs them.
#pragma once

#include <string>
#include <string_view>

namespace qlczephra::transport {

// Whether `url` begins with "http://" or "https://" (in any case) and a host, and consists of visible ASCII only, so
// that it can stand in a request line.
[[nodiscard]] bool isSendableURL(std::string_view url) noexcept;

// `base` without query and fragment, then "/" unless it is there already, `api` as it stands, and `product` and `leaf`
// as one percent-encoded segment each. Empty when `base` is no sendable URL or `product` is empty, "." or "..", which
// would name another resource.
[[nodiscard]] std::string serviceURL(std::string_view base, std::string_view api, std::string_view product,
                                     std::string_view leaf);

}  // namespace qlczephra::transport
