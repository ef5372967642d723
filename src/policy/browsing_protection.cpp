// The site list as a list of allowed and one of blocked addresses.
#include <algorithm>

#include "policy/views.h"

namespace qlczephra::policy {

namespace {

namespace path {
constexpr std::string_view enabled = "common.sites.enabled";  // boolean true; else no record
constexpr std::string_view list = "common.sites.list";        // list of site entries; else no record
}  // namespace path

namespace member {                               // of a site entry
constexpr std::string_view allowed = "allowed";  // boolean; else the entry is in neither list
constexpr std::string_view url = "url";          // string; else the entry is left out
}  // namespace member

// The addresses of the entries whose "allowed" is `allowed`, in list order.
std::vector<std::string> addresses(const List& entries, bool allowed) {
  const auto belongs = [allowed](const Value& value) {
    return document::PlainMapView(*value.map(), false)[member::allowed].boolean() == allowed;
  };
  std::vector<std::string> result;
  result.reserve(static_cast<std::size_t>(std::count_if(entries.begin(), entries.end(), belongs)));
  for (const Value& value : entries) {
    if (!belongs(value)) continue;
    if (const auto url = document::PlainMapView(*value.map(), false)[member::url].string()) result.emplace_back(*url);
  }
  return result;
}

}  // namespace

std::optional<QLCBrowsingProtection> browsingProtection(const Settings& settings) {
  if (settings[path::enabled].boolean() != true) return std::nullopt;
  const List* entries = settings[path::list].listOfMaps();
  if (entries == nullptr) return std::nullopt;
  return QLCBrowsingProtection(addresses(*entries, true), addresses(*entries, false));
}

}  // namespace qlczephra::policy
