#include "qlczephra/policy/proxy.h"

#include "policy/records/description.h"

namespace qlczephra {

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
  return Description("QLCHTTPProxySettings").field("type", type_).field("address", address_).text();
}

std::string QLCVORT2Settings::description() const {
  return Description("QLCVORT2Settings")
      .field("httpProxy", httpProxy_)
      .field("localServerAddress", localServerAddress_)
      .field("fallbackToGlobal", fallbackToGlobal_)
      .text();
}

std::string QLCPMAddress::description() const {
  return Description("QLCPMAddress")
      .field("address", address_)
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
