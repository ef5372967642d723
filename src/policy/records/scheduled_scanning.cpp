#include "qlczephra/policy/scheduled_scanning.h"

#include "policy/records/description.h"

namespace qlczephra {

std::string_view nameOf(QLCScanningFrequency frequency) noexcept {
  switch (frequency) {
    case QLCScanningFrequencyDaily:
      return "daily";
    case QLCScanningFrequencyWeekly:
      return "weekly";
    case QLCScanningFrequencyMonthly:
      return "monthly";
  }
  return "unknown";
}

std::string QLCSchedule::description() const {
  return Description("QLCSchedule")
      .field("frequency", frequency_)
      .field("hour", hour_)
      .field("minute", minute_)
      .field("days", days_)
      .text();
}

}  // namespace qlczephra
