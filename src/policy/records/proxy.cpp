#include "qlczephra/policy/proxy.h"

#include <algorithm>

#include "policy/records/description.h"

namespace qlczephra {

namespace {

// The address with "***" in place of a user name and a password. All up to the last "@" counts as such: a password that
// is not percent-encoded as it should be must not show in part.
std::string withoutPassword(const std::string& address) {
  const std::size_t at = address.rfind('@');
  if (at == std::string::npos) return address;
  const auto inScheme = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '+' || c == '-' ||
           c == '.';
  };
  const auto afterScheme = std::find_if_not(address.begin(), address.end(), inScheme);
  const auto schemeLength = static_cast<std::size_t>(afterScheme - address.begin());
  const bool hasScheme = address.compare(schemeLength, 3, "://") == 0;
  return address.substr(0, hasScheme ? schemeLength + 3 : 0) + "***" + address.substr(at);
}
std::optional<std::string> withoutPassword(const std::optional<std::string>& address) {
  return address ? std::optional(withoutPassword(*address)) : std::nullopt;
}

}  // namespace

std::string_view nameOf(QLCHTTPProxyType type) noexcept {
  switch (type) {
    case QLCHTTPProxyTypeNone:
      return "none";
    case QLCHTTPProxyTypeSystem:
      return "system";
    case QLCHTTPProxyTypeUserDefined:
      return "user-defined";
  }
  return "unknown";
}

std::string QLCHTTPProxySettings::description() const {
  return Description("QLCHTTPProxySettings").field("type", type_).field("address", withoutPassword(address_)).text();
}

std::string QLCVORT2Settings::description() const {
  return Description("QLCVORT2Settings")
      .field("httpProxy", httpProxy_)
      .field("localServerAddress", withoutPassword(localServerAddress_))
      .field("fallbackToGlobal", fallbackToGlobal_)
      .text();
}

std::string QLCPMAddress::description() const {
  return Description("QLCPMAddress")
      .field("address", withoutPassword(address_))
      .field("httpPort", httpPort_)
      .field("httpsPort", httpsPort_)
      .text();
}

std::string QLCPMProxySettings::description() const {
  return Description("QLCPMProxySettings")
      .field("httpProxy", httpProxy_)
      .field("overridePMAddress", overridePMAddress_)
      .field("fallbackToPM", fallbackToPM_)
      .field("proxies", proxies_)
      .field("fallbackToCloud", fallbackToCloud_)
      .text();
}

}  // namespace qlczephra
