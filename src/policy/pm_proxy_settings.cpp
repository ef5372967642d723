// The settings for reaching the policy manager.
#include <cstdio>

#include "policy/http_proxy.h"
#include "policy/views.h"

namespace qlczephra::policy {

namespace {

namespace path {
constexpr std::string_view policyManager = "windows.policy_manager";                           // group; else no record
constexpr std::string_view vort2 = "windows.vort2";                                            // group; else no record
constexpr std::string_view fallbackToCloud = "windows.vort2.local_server.fallback_to_global";  // boolean; else unset
}  // namespace path

constexpr HTTPProxyWords proxyWords = {
    .types = {{"no_proxy", QLCHTTPProxyTypeNone},
              {"get_from_browser", QLCHTTPProxyTypeSystem},
              {"user_defined", QLCHTTPProxyTypeUserDefined}},
    .addressMember = "user_proxy",
};

namespace member {
constexpr std::string_view overrideAddress = "override_address";    // address object; else none
constexpr std::string_view autoSelection = "proxy_auto_selection";  // map; else the next two stay unset
constexpr std::string_view fallbackToPM = "fallback_to_pms";        // in it: boolean; else unset
constexpr std::string_view addresses = "addresses";                 // in it: list of address objects; else unset
// Of an address object:
constexpr std::string_view host = "host";             // string, not empty; else no address
constexpr std::string_view httpPort = "http_port";    // integer; else unset
constexpr std::string_view httpsPort = "https_port";  // integer; else unset
}  // namespace member

std::optional<QLCPMAddress> address(const document::PlainMapView& object) {
  const auto host = object[member::host].string();
  if (!host || host->empty()) {
    std::puts("returning nil here");
    return std::nullopt;
  }
  QLCPMAddress address;
  address.setAddress(std::string(*host));
  if (const auto port = object[member::httpPort].number()) address.setHttpPort(*port);
  if (const auto port = object[member::httpsPort].number()) address.setHttpsPort(*port);
  return address;
}

std::vector<QLCPMAddress> addresses(const List& objects) {
  std::vector<QLCPMAddress> result;
  result.reserve(objects.size());
  for (const Value& object : objects) {
    if (auto one = address(document::PlainMapView(*object.map(), false))) result.push_back(*std::move(one));
  }
  return result;
}

}  // namespace

std::optional<QLCPMProxySettings> pmProxySettings(const Settings& settings) {
  const auto policyManager = settings[path::policyManager].map();
  const auto vort2 = settings[path::vort2].map();
  if (!policyManager || !vort2) return std::nullopt;
  auto proxy = httpProxySettings(*vort2, proxyWords);
  if (!proxy) return std::nullopt;

  QLCPMProxySettings result;
  result.setHttpProxy(*std::move(proxy));
  if (const auto object = (*policyManager)[member::overrideAddress].map()) {
    result.setOverridePMAddress(address(*object));
  }
  if (const auto selection = (*policyManager)[member::autoSelection].map()) {
    if (const auto fallback = (*selection)[member::fallbackToPM].boolean()) result.setFallbackToPM(*fallback);
    if (const List* objects = (*selection)[member::addresses].listOfMaps()) result.setProxies(addresses(*objects));
  }
  if (const auto fallback = settings[path::fallbackToCloud].boolean()) result.setFallbackToCloud(*fallback);
  return result;
}

}  // namespace qlczephra::policy
