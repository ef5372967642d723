#include "tests/policy/plain_views.h"

#include <map>
#include <vector>

#include "tests/policy/plain_reading.h"

namespace qlczephra::test {
namespace {

std::optional<QLCHTTPProxySettings> plainProxy(const Map& group, const char* system, const char* userDefined,
                                               const char* addressMember) {
  QLCHTTPProxySettings proxy;
  const Value* type = group.find("proxy_type");
  if (isText(type, "no_proxy")) return proxy;
  if (isText(type, system)) {
    proxy.setType(QLCHTTPProxyTypeSystem);
    return proxy;
  }
  const Value* address = group.find(addressMember);
  if (!isText(type, userDefined) || !isString(address)) return std::nullopt;
  proxy.setType(QLCHTTPProxyTypeUserDefined);
  proxy.setAddress(text(address));
  return proxy;
}

std::optional<QLCPMAddress> plainAddress(const Map& object, std::size_t& rejected) {
  const Value* host = object.find("host");
  if (!isString(host) || isText(host, "")) {
    ++rejected;
    return std::nullopt;
  }
  QLCPMAddress address;
  address.setAddress(text(host));
  const Value* http = object.find("http_port");
  const Value* https = object.find("https_port");
  if (isWhole(http)) address.setHttpPort(*http->wholeNumber());
  if (isWhole(https)) address.setHttpsPort(*https->wholeNumber());
  return address;
}

}  // namespace

std::optional<QLCSchedule> plainSchedule(const Map& tree) {
  const auto group = flatAt(tree, "macos.scheduled_scanning");
  if (!group || !isTrue(group->find("enabled"))) return std::nullopt;
  const Map* time = mapIn(*group, "start_time");
  const Map* frequency = mapIn(*group, "scan_frequency");
  if (time == nullptr || !isWhole(time->find("hours")) || !isWhole(time->find("minutes")) || frequency == nullptr) {
    return std::nullopt;
  }
  QLCSchedule schedule;
  schedule.setHour(*time->find("hours")->wholeNumber());
  schedule.setMinute(*time->find("minutes")->wholeNumber());
  const Value* word = frequency->find("frequency");
  if (isText(word, "daily")) return schedule;
  if (isText(word, "weekly")) {
    schedule.setFrequency(QLCScanningFrequencyWeekly);
    const Map* weekly = mapIn(*frequency, "weekly_frequency");
    if (weekly == nullptr) return schedule;
    const std::map<std::string, std::int64_t, std::less<>> numbers = {{"monday", 1},   {"tuesday", 2}, {"wednesday", 3},
                                                                      {"thursday", 4}, {"friday", 5},  {"saturday", 6},
                                                                      {"sunday", 7}};
    std::vector<std::int64_t> days;
    for (const auto [name, selected] : *weekly) {
      if (!isBoolean(&selected)) return schedule;
      if (isTrue(&selected) && numbers.count(name) != 0) days.push_back(numbers.find(name)->second);
    }
    schedule.setDays(days);
    return schedule;
  }
  if (!isText(word, "monthly")) return std::nullopt;
  schedule.setFrequency(QLCScanningFrequencyMonthly);
  const Map* monthly = mapIn(*frequency, "monthly_frequency");
  if (monthly == nullptr || !areAll(monthly->find("days"), isWhole)) return schedule;
  std::vector<std::int64_t> days;
  for (const Value& day : *monthly->find("days")->list()) days.push_back(*day.wholeNumber());
  schedule.setDays(days);
  return schedule;
}

std::optional<QLCVORT2Settings> plainVort2(const Map& tree) {
  const auto group = flatAt(tree, "macos.vort2");
  if (!group) return std::nullopt;
  const auto proxy = plainProxy(*group, "system_http_proxy", "user_defined_http_proxy", "proxy_address");
  if (!proxy) return std::nullopt;
  QLCVORT2Settings settings;
  settings.setHttpProxy(*proxy);
  const Value* server = group->find("local_server_address");
  const Value* fallback = group->find("fallback_to_direct_connection");
  if (isString(server)) settings.setLocalServerAddress(text(server));
  if (isString(server) && isBoolean(fallback)) settings.setFallbackToGlobal(*fallback->boolean());
  return settings;
}

std::optional<QLCPMProxySettings> plainPm(const Map& tree, std::size_t& rejected) {
  const auto manager = flatAt(tree, "windows.policy_manager");
  const auto vort2 = flatAt(tree, "windows.vort2");
  if (!manager || !vort2) return std::nullopt;
  const auto proxy = plainProxy(*vort2, "get_from_browser", "user_defined", "user_proxy");
  if (!proxy) return std::nullopt;
  QLCPMProxySettings settings;
  settings.setHttpProxy(*proxy);
  const Map* single = mapIn(*manager, "override_address");
  if (single != nullptr) settings.setOverridePMAddress(plainAddress(*single, rejected));
  if (const Map* selection = mapIn(*manager, "proxy_auto_selection")) {
    const Value* fallback = selection->find("fallback_to_pms");
    if (isBoolean(fallback)) settings.setFallbackToPM(*fallback->boolean());
    if (const List* objects = mapsIn(selection->find("addresses"))) {
      std::vector<QLCPMAddress> addresses;
      for (const Value& object : *objects) {
        if (const auto address = plainAddress(*object.map(), rejected)) addresses.push_back(*address);
      }
      settings.setProxies(addresses);
    }
  }
  const Value* toCloud = document::valueAt(tree, "windows.vort2.local_server.fallback_to_global");
  if (isBoolean(toCloud)) settings.setFallbackToCloud(*toCloud->boolean());
  return settings;
}

}  // namespace qlczephra::test
