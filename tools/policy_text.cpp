#include "tools/policy_text.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace qlczephra::tools {
namespace {

const char* onOff(bool on) {
  return on ? "on" : "off";
}
const char* yesNo(bool yes) {
  return yes ? "yes" : "no";
}
std::string yesNo(std::optional<bool> yes) {
  return yes ? yesNo(*yes) : "not set";
}

std::string joined(const std::vector<std::string>& parts, const char* separator = ", ") {
  std::string text;
  bool first = true;
  for (const std::string& part : parts) text += (std::exchange(first, false) ? "" : separator) + part;
  return text;
}

// "heading" before the first of some lines, the others further in.
void appendUnder(Lines& lines, const std::string& heading, const Lines& more) {
  for (std::size_t i = 0; i < more.size(); ++i) lines.push_back(i == 0 ? "  " + heading + more[i] : "  " + more[i]);
}

// ---- proxies

std::string proxyText(const QLCHTTPProxySettings& proxy) {
  std::string text(nameOf(proxy.type()));
  if (proxy.address()) text += ", " + cell(*proxy.address());
  return text;
}

std::string addressText(const QLCPMAddress& address) {
  std::string text = cell(address.address());
  if (address.httpPort()) text += ", http " + std::to_string(*address.httpPort());
  if (address.httpsPort()) text += ", https " + std::to_string(*address.httpsPort());
  return text;
}

// ---- firewall

std::string actionsText(const QLCFirewallDefaultActions& actions) {
  std::vector<std::string> allowed;
  if (actions.allowBuiltin()) allowed.emplace_back("built-in");
  if (actions.allowSigned()) allowed.emplace_back("signed");
  if (actions.allowTrusted()) allowed.emplace_back("trusted");
  return std::string(nameOf(actions.action())) + (allowed.empty() ? "" : "; allow " + joined(allowed));
}

// Blanks separate identifiers and "-" stands for none; one that would be taken for either is quoted.
std::string identifiersText(const QLCFirewallRule::Identifiers& identifiers) {
  std::vector<std::string> cells;
  for (const std::string& identifier : identifiers) {
    const bool misleading =
        identifier.empty() || identifier == "-" || identifier.find_first_of(" \"") != std::string::npos;
    cells.push_back(misleading ? quoted(identifier) : cell(identifier));
  }
  return cells.empty() ? "-" : joined(cells, " ");
}

Lines profilesTable(const QLCFirewall& firewall) {
  std::vector<std::vector<std::string>> rows = {
      {"PROFILE", "NAME", "CURRENT", "VALIDATION", "INCOMING", "OUTGOING", "RULES"}};
  for (const auto& [identifier, profile] : firewall.profiles()) {
    rows.push_back({cell(identifier), cell(profile.name()), identifier == firewall.currentProfileID() ? "yes" : "",
                    std::string(nameOf(profile.certificateValidation())), actionsText(profile.defaultActionsIn()),
                    actionsText(profile.defaultActionsOut()), std::to_string(profile.rules().size())});
  }
  return tableLines(rows);
}

Lines rulesTable(const QLCFirewall& firewall) {
  std::vector<std::vector<std::string>> rows = {
      {"PROFILE", "RULE", "ACTION", "DIRECTION", "VALIDATION", "SIGNING IDS", "TEAM IDS", "DESCRIPTION"}};
  for (const auto& [identifier, profile] : firewall.profiles()) {
    for (const QLCFirewallRule& rule : profile.rules()) {
      rows.push_back({cell(identifier), cell(rule.name()), std::string(nameOf(rule.action())),
                      std::string(nameOf(rule.direction())), std::string(nameOf(rule.certificateValidation())),
                      identifiersText(rule.signingIDs()), identifiersText(rule.teamIDs()),
                      rule.descr() ? cell(*rule.descr()) : "-"});
    }
  }
  return tableLines(rows);
}

}  // namespace

Lines asText(const QLTimeLimits& limits) {
  Lines lines = {onOff(limits.isEnabled())};
  appendUnder(lines, "quota: ", asText(limits.quota()));
  appendUnder(lines, "curfew: ", asText(limits.curfew()));
  return lines;
}

Lines asText(const QLQuota& quota) {
  std::vector<std::vector<std::string>> rows;
  for (const auto& entry : quota.days()) {
    rows.push_back({cell(entry.dayName), std::to_string(entry.duration), entry.day.isEnabled() ? "" : "off"});
  }
  Lines lines = {onOff(quota.isEnabled())};
  append(lines, tableLines(rows));
  return lines;
}

Lines asText(const QLCBrowsingProtection& protection) {
  Lines lines = {std::to_string(protection.whitelist().size()) + " allowed, " +
                 std::to_string(protection.blacklist().size()) + " blocked"};
  for (const std::string& address : protection.whitelist()) lines.push_back("  allowed  " + cell(address));
  for (const std::string& address : protection.blacklist()) lines.push_back("  blocked  " + cell(address));
  return lines;
}

Lines asText(const QLContentCategories& categories) {
  Lines lines = {onOff(categories.isEnabled())};
  for (const auto& entry : categories.categories()) {
    lines.push_back((entry.isBlocked ? "  blocked  " : "  allowed  ") + cell(entry.name));
  }
  return lines;
}

Lines asText(const QLCSchedule& schedule) {
  char time[64];
  std::snprintf(time, sizeof time, " at %02lld:%02lld", static_cast<long long>(schedule.hour()),
                static_cast<long long>(schedule.minute()));
  std::string line = std::string(nameOf(schedule.frequency())) + time;
  if (!schedule.days()) return {line + (schedule.frequency() == QLCScanningFrequencyDaily ? "" : ", days not set")};
  std::vector<std::int64_t> days = *schedule.days();
  std::sort(days.begin(), days.end());
  std::vector<std::string> names;
  for (const std::int64_t day : days) {
    static constexpr const char* dayNames[] = {"monday", "tuesday",  "wednesday", "thursday",
                                               "friday", "saturday", "sunday"};
    const bool isWeekDay = schedule.frequency() == QLCScanningFrequencyWeekly && day >= 1 && day <= 7;
    names.push_back(isWeekDay ? dayNames[day - 1] : std::to_string(day));
  }
  return {line + ", days: " + (names.empty() ? "none selected" : joined(names))};
}

Lines asText(const QLCPMProxySettings& settings) {
  const auto& address = settings.overridePMAddress();
  Lines lines = {"HTTP proxy " + proxyText(settings.httpProxy()),
                 "  address in place of the policy manager's: " + (address ? addressText(*address) : "none")};
  if (!settings.proxies()) lines.emplace_back("  proxies to choose from: not set");
  if (settings.proxies()) {
    lines.push_back("  proxies to choose from: " + std::to_string(settings.proxies()->size()));
    for (const QLCPMAddress& proxy : *settings.proxies()) lines.push_back("    " + addressText(proxy));
  }
  lines.push_back("  fall back to the policy manager: " + yesNo(settings.fallbackToPM()));
  lines.push_back("  fall back to the cloud: " + yesNo(settings.fallbackToCloud()));
  return lines;
}

Lines asText(const QLCVORT2Settings& settings) {
  const auto& server = settings.localServerAddress();
  return {"HTTP proxy " + proxyText(settings.httpProxy()), "  local server: " + (server ? cell(*server) : "none"),
          "  go on without it: " + yesNo(settings.fallbackToGlobal())};
}

Lines asText(const QLCFirewall& firewall) {
  const QLCFirewallSystemSettings system = firewall.systemSettings();
  const std::string& current = firewall.currentProfileID();
  Lines lines = {
      std::string(onOff(firewall.enabled())) + ", current profile: " + (current.empty() ? "-" : cell(current)),
      std::string("  system firewall: ") + onOff(system.enabled()) + "; incoming: block all " +
          yesNo(system.blockAllIn()) + ", allow built-in " + yesNo(system.allowBuiltinsIn()) + ", allow signed " +
          yesNo(system.allowSignedIn())};
  append(lines, profilesTable(firewall));
  append(lines, rulesTable(firewall));
  return lines;
}

}  // namespace qlczephra::tools
