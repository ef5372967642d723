// The connection settings of the VORT2 service client.
#include "policy/http_proxy.h"
#include "policy/views.h"

namespace qlczephra::policy {

namespace {

constexpr std::string_view groupPath = "macos.vort2";  // group; else no record

constexpr HTTPProxyWords proxyWords = {
    .types = {{"no_proxy", QLCHTTPProxyTypeNone},
              {"system_http_proxy", QLCHTTPProxyTypeSystem},
              {"user_defined_http_proxy", QLCHTTPProxyTypeUserDefined}},
    .addressMember = "proxy_address",
};

namespace member {
constexpr std::string_view localServer = "local_server_address";        // string; else unset
constexpr std::string_view fallback = "fallback_to_direct_connection";  // boolean; else unset; only with a local server
}  // namespace member

}  // namespace

std::optional<QLCVORT2Settings> vort2ProxySettings(const Settings& settings) {
  const auto group = settings[groupPath].map();
  if (!group) return std::nullopt;
  auto proxy = httpProxySettings(*group, proxyWords);
  if (!proxy) return std::nullopt;

  QLCVORT2Settings result;
  result.setHttpProxy(*std::move(proxy));
  if (const auto address = (*group)[member::localServer].string()) {
    result.setLocalServerAddress(std::string(*address));
    if (const auto fallback = (*group)[member::fallback].boolean()) result.setFallbackToGlobal(*fallback);
  }
  return result;
}

}  // namespace qlczephra::policy
