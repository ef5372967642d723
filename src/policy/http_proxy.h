// The HTTP proxy settings, which two views read with words of their own.
#pragma once

#include <optional>

#include "document/plain_view.h"
#include "policy/enum_names.h"
#include "qlczephra/policy/proxy.h"

namespace qlczephra::policy {

struct HTTPProxyWords {
  Word<QLCHTTPProxyType> types[3];  // of the member "proxy_type"
  std::string_view addressMember;   // read for the user-defined type only
};

// None without a known type, and for a user-defined proxy without an address.
[[nodiscard]] std::optional<QLCHTTPProxySettings> httpProxySettings(const document::PlainMapView& settings,
                                                                    const HTTPProxyWords& words);

}  // namespace qlczephra::policy
