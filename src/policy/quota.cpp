// How long the computer may be used on each day.
#include "policy/days.h"
#include "policy/views.h"

namespace qlczephra::policy {

namespace {

namespace path {
constexpr std::string_view enabled = "common.time.quota.enabled";   // boolean true; else no quota
constexpr DayPaths dayDuration("common.time.quota.", ".duration");  // integer; else no entry for the day
constexpr DayPaths dayEnabled("common.time.quota.", ".enabled");    // boolean; else false
}  // namespace path

}  // namespace

std::optional<QLQuota> quota(const Settings& settings) {
  if (settings[path::enabled].boolean() != true) return std::nullopt;
  QLQuota quota;
  quota.setIsEnabled(true);
  quota.reserveDays(dayNames.size());
  for (std::size_t day = 0; day < dayNames.size(); ++day) {
    const auto duration = settings[path::dayDuration[day]].number();
    if (!duration) continue;
    QLQuotaDay quotaDay;
    quotaDay.setIsEnabled(settings[path::dayEnabled[day]].boolean().value_or(false));
    quota.addDay(quotaDay, *duration, std::string(dayNames[day]));
  }
  return quota;
}

}  // namespace qlczephra::policy
