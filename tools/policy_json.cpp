#include "tools/policy_json.h"

namespace qlczephra::tools {
namespace {

Value plain(const std::string& text) {
  return text;
}
Value plain(std::int64_t number) {
  return number;
}
template <typename T>
Value plain(const std::optional<T>& value) {
  return value ? Value(*value) : Value();
}

template <typename Range, typename Convert>
Value listOf(const Range& range, Convert convert) {
  List::Builder list;
  for (const auto& element : range) list.add(convert(element));
  return list.build();
}

Value ofRanges(const std::vector<TimeRange>& ranges) {
  return listOf(ranges, [](const TimeRange& range) { return Map{{"from", range.from()}, {"until", range.until()}}; });
}

template <typename Range>
Value plainList(const Range& range) {
  return listOf(range, [](const auto& element) { return plain(element); });
}

Value ofProxy(const QLCHTTPProxySettings& proxy) {
  return Map{{"type", nameOf(proxy.type())}, {"address", plain(proxy.address())}};
}

Value ofAddress(const QLCPMAddress& address) {
  return Map{{"address", address.address()},
             {"httpPort", plain(address.httpPort())},
             {"httpsPort", plain(address.httpsPort())}};
}

Value ofActions(const QLCFirewallDefaultActions& actions) {
  return Map{{"action", nameOf(actions.action())},
             {"allowBuiltin", actions.allowBuiltin()},
             {"allowSigned", actions.allowSigned()},
             {"allowTrusted", actions.allowTrusted()}};
}

Value ofRule(const QLCFirewallRule& rule) {
  return Map{{"name", rule.name()},
             {"descr", plain(rule.descr())},
             {"action", nameOf(rule.action())},
             {"direction", nameOf(rule.direction())},
             {"signingIDs", plainList(rule.signingIDs())},
             {"teamIDs", plainList(rule.teamIDs())},
             {"certificateValidation", nameOf(rule.certificateValidation())}};
}

Value ofProfile(const QLCFirewallProfile& profile) {
  return Map{{"identifier", profile.identifier()},
             {"name", profile.name()},
             {"defaultActionsIn", ofActions(profile.defaultActionsIn())},
             {"defaultActionsOut", ofActions(profile.defaultActionsOut())},
             {"certificateValidation", nameOf(profile.certificateValidation())},
             {"rules", listOf(profile.rules(), ofRule)}};
}

}  // namespace

Value asJson(const QLTimeLimits& limits) {
  return Map{{"isEnabled", limits.isEnabled()}, {"quota", asJson(limits.quota())}, {"curfew", asJson(limits.curfew())}};
}

Value asJson(const QLCurfew& curfew) {
  const auto ofDay = [](const QLCurfew::DayEntry& entry) {
    return Map{{"dayName", entry.dayName},
               {"isEnabled", entry.day.isEnabled()},
               {"ranges", entry.ranges ? ofRanges(*entry.ranges) : Value()}};
  };
  return Map{{"isEnabled", curfew.isEnabled()},
             {"days", listOf(curfew.days(), ofDay)},
             {"schoolNights", ofRanges(curfew.schoolNights())},
             {"weekends", ofRanges(curfew.weekends())}};
}

Value asJson(const QLQuota& quota) {
  const auto ofDay = [](const QLQuota::DayEntry& entry) {
    return Map{{"dayName", entry.dayName}, {"isEnabled", entry.day.isEnabled()}, {"duration", entry.duration}};
  };
  return Map{{"isEnabled", quota.isEnabled()}, {"days", listOf(quota.days(), ofDay)}};
}

Value asJson(const QLCBrowsingProtection& protection) {
  return Map{{"whitelist", plainList(protection.whitelist())}, {"blacklist", plainList(protection.blacklist())}};
}

Value asJson(const QLContentCategories& categories) {
  const auto ofCategory = [](const QLContentCategories::CategoryEntry& entry) {
    return Map{{"name", entry.name}, {"isBlocked", entry.isBlocked}};
  };
  return Map{{"isEnabled", categories.isEnabled()}, {"categories", listOf(categories.categories(), ofCategory)}};
}

Value asJson(const QLCSchedule& schedule) {
  return Map{{"frequency", nameOf(schedule.frequency())},
             {"hour", schedule.hour()},
             {"minute", schedule.minute()},
             {"days", schedule.days() ? plainList(*schedule.days()) : Value()}};
}

Value asJson(const QLCPMProxySettings& settings) {
  return Map{{"httpProxy", ofProxy(settings.httpProxy())},
             {"overridePMAddress", settings.overridePMAddress() ? ofAddress(*settings.overridePMAddress()) : Value()},
             {"fallbackToPM", plain(settings.fallbackToPM())},
             {"proxies", settings.proxies() ? listOf(*settings.proxies(), ofAddress) : Value()},
             {"fallbackToCloud", plain(settings.fallbackToCloud())}};
}

Value asJson(const QLCFirewall& firewall) {
  const QLCFirewallSystemSettings system = firewall.systemSettings();
  Map::Builder profiles;
  for (const auto& [identifier, profile] : firewall.profiles()) profiles.set(identifier, ofProfile(profile));
  return Map{{"systemSettings", Map{{"enabled", system.enabled()},
                                    {"allowBuiltinsIn", system.allowBuiltinsIn()},
                                    {"allowSignedIn", system.allowSignedIn()},
                                    {"blockAllIn", system.blockAllIn()}}},
             {"enabled", firewall.enabled()},
             {"currentProfileID", firewall.currentProfileID()},
             {"profiles", profiles.build()}};
}

Value asJson(const QLCVORT2Settings& settings) {
  return Map{{"httpProxy", ofProxy(settings.httpProxy())},
             {"localServerAddress", plain(settings.localServerAddress())},
             {"fallbackToGlobal", plain(settings.fallbackToGlobal())}};
}

}  // namespace qlczephra::tools
