#include "qlczephra/policy/time_limits.h"

#include "policy/records/description.h"

namespace qlczephra {

std::string TimeRange::description() const {
  return std::to_string(from()) + "-" + std::to_string(until());
}

std::string QLCurfewDay::description() const {
  return Description("QLCurfewDay").field("isEnabled", isEnabled_).text();
}

std::string QLCurfew::DayEntry::description() const {
  return Description("QLCurfewDay")
      .field("dayName", dayName)
      .field("isEnabled", day.isEnabled())
      .field("ranges", ranges)
      .text();
}

std::string QLCurfew::description() const {
  return Description("QLCurfew")
      .field("isEnabled", isEnabled_)
      .field("days", days_)
      .field("schoolNights", schoolNights_)
      .field("weekends", weekends_)
      .text();
}

std::string QLQuotaDay::description() const {
  return Description("QLQuotaDay").field("isEnabled", isEnabled_).text();
}

std::string QLQuota::DayEntry::description() const {
  return Description("QLQuotaDay")
      .field("dayName", dayName)
      .field("isEnabled", day.isEnabled())
      .field("duration", duration)
      .text();
}

std::string QLQuota::description() const {
  return Description("QLQuota").field("isEnabled", isEnabled_).field("days", days_).text();
}

std::string QLTimeLimits::description() const {
  return Description("QLTimeLimits")
      .field("isEnabled", isEnabled_)
      .field("quota", quota_)
      .field("curfew", curfew_)
      .text();
}

}  // namespace qlczephra
