// When the computer is scanned. Records are plain values, as time_limits.h says.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "qlczephra/export.h"

namespace qlczephra {

enum QLCScanningFrequency : std::int64_t {
  QLCScanningFrequencyDaily = 0,
  QLCScanningFrequencyWeekly = 1,
  QLCScanningFrequencyMonthly = 2,
};

// "daily", "weekly", "monthly"; "unknown" for a value outside the enumeration.
[[nodiscard]] QLCZEPHRA_EXPORT std::string_view nameOf(QLCScanningFrequency frequency) noexcept;
inline std::ostream& operator<<(std::ostream& stream, QLCScanningFrequency frequency) {
  return stream << nameOf(frequency);
}

class QLCZEPHRA_EXPORT QLCSchedule {
 public:
  [[nodiscard]] QLCScanningFrequency frequency() const noexcept { return frequency_; }  // daily at first
  void setFrequency(QLCScanningFrequency frequency) noexcept { frequency_ = frequency; }
  // As the settings have them, 0 at first; no range is checked.
  [[nodiscard]] std::int64_t hour() const noexcept { return hour_; }
  void setHour(std::int64_t hour) noexcept { hour_ = hour; }
  [[nodiscard]] std::int64_t minute() const noexcept { return minute_; }
  void setMinute(std::int64_t minute) noexcept { minute_ = minute; }
  // Of a weekly scan the days of the week, Monday 1 to Sunday 7, in no order to rely on; of a monthly scan the days of
  // the month as the settings have them. None for daily scans, and where the settings name no usable days; an empty
  // list when they name days and select none.
  [[nodiscard]] const std::optional<std::vector<std::int64_t>>& days() const& noexcept { return days_; }
  [[nodiscard]] std::optional<std::vector<std::int64_t>> days() && noexcept { return std::move(days_); }
  void setDays(std::optional<std::vector<std::int64_t>> days) { days_ = std::move(days); }

  // One line with all that the record holds, for logs.
  [[nodiscard]] std::string description() const;
  friend bool operator==(const QLCSchedule&, const QLCSchedule&) = default;
  friend std::ostream& operator<<(std::ostream& stream, const QLCSchedule& schedule) {
    return stream << schedule.description();
  }

 private:
  QLCScanningFrequency frequency_ = QLCScanningFrequencyDaily;
  std::int64_t hour_ = 0;
  std::int64_t minute_ = 0;
  std::optional<std::vector<std::int64_t>> days_;
};

}  // namespace qlczephra
