#include "policy/http_proxy.h"

namespace qlczephra::policy {

namespace {

namespace member {
constexpr std::string_view type = "proxy_type";  // string; else no proxy settings
}  // namespace member

}  // namespace

std::optional<QLCHTTPProxySettings> httpProxySettings(const document::PlainMapView& settings,
                                                      const HTTPProxyWords& words) {
  const auto type = valueOfWord(words.types, settings[member::type].string());
  if (!type) return std::nullopt;
  QLCHTTPProxySettings proxy;
  proxy.setType(*type);
  if (*type == QLCHTTPProxyTypeUserDefined) {
    const auto address = settings[words.addressMember].string();
    if (!address) return std::nullopt;
    proxy.setAddress(std::string(*address));
  }
  return proxy;
}

}  // namespace qlczephra::policy
