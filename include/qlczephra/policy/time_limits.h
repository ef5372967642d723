// When the computer may be used: the curfew, the daily quota, and both under one switch.
//
// Records are plain values: a copy is independent of its original, two are equal when all they hold is equal. The
// manager makes a new record for every call; a host may also make its own. One record may be read by any number of
// threads as long as none changes it.
//
// What a temporary record is asked for is the caller's own, so `for (... : manager.firewall().profiles())` is safe.
// What is reached through it by a second call or by `->` is not: `manager.firewall().profiles().at(id).rules()` and
// `manager.curfew()->days()` end with the temporary. Keep such a record in a variable.
//
// Times and durations stand as the settings have them: no unit, range or order is checked.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "qlczephra/export.h"

namespace qlczephra {

// From one time to another. `length` holds the end itself, not the end minus the start, and may be smaller than
// `location`, as in a range across midnight. Both are unsigned words; a negative number of the settings keeps its bits.
struct QLCZEPHRA_EXPORT TimeRange {
  std::uint64_t location = 0;  // the start
  std::uint64_t length = 0;    // the end

  [[nodiscard]] static constexpr TimeRange between(std::int64_t from, std::int64_t until) noexcept {
    return {static_cast<std::uint64_t>(from), static_cast<std::uint64_t>(until)};
  }
  // Start and end as the settings had them.
  [[nodiscard]] constexpr std::int64_t from() const noexcept { return static_cast<std::int64_t>(location); }
  [[nodiscard]] constexpr std::int64_t until() const noexcept { return static_cast<std::int64_t>(length); }

  // "<from>-<until>", for logs.
  [[nodiscard]] std::string description() const;

  friend constexpr bool operator==(const TimeRange&, const TimeRange&) noexcept = default;
  friend std::ostream& operator<<(std::ostream& stream, const TimeRange& range) {
    return stream << range.description();
  }
};

// A day with a curfew. Its ranges and its name stand beside it in QLCurfew.
class QLCZEPHRA_EXPORT QLCurfewDay {
 public:
  [[nodiscard]] bool isEnabled() const noexcept { return isEnabled_; }  // false at first
  void setIsEnabled(bool isEnabled) noexcept { isEnabled_ = isEnabled; }

  [[nodiscard]] std::string description() const;
  friend bool operator==(const QLCurfewDay&, const QLCurfewDay&) noexcept = default;
  friend std::ostream& operator<<(std::ostream& stream, const QLCurfewDay& day) { return stream << day.description(); }

 private:
  bool isEnabled_ = false;
};

// The times during which the computer may not be used.
class QLCZEPHRA_EXPORT QLCurfew {
 public:
  struct QLCZEPHRA_EXPORT DayEntry {
    QLCurfewDay day;
    std::optional<std::vector<TimeRange>> ranges;  // an empty list is a day with a curfew at no time
    std::string dayName;                           // "monday" to "sunday"

    [[nodiscard]] std::string description() const;
    friend bool operator==(const DayEntry&, const DayEntry&) = default;
    friend std::ostream& operator<<(std::ostream& stream, const DayEntry& entry) {
      return stream << entry.description();
    }
  };

  [[nodiscard]] bool isEnabled() const noexcept { return isEnabled_; }  // false at first
  void setIsEnabled(bool isEnabled) noexcept { isEnabled_ = isEnabled; }

  // In the order added; the manager adds Monday first, each day at most once.
  [[nodiscard]] const std::vector<DayEntry>& days() const& noexcept { return days_; }
  [[nodiscard]] std::vector<DayEntry> days() && noexcept { return std::move(days_); }
  void addDay(QLCurfewDay day, std::optional<std::vector<TimeRange>> ranges, std::string dayName) {
    days_.push_back({day, std::move(ranges), std::move(dayName)});
  }
  // Makes room for that many days at once.
  void reserveDays(std::size_t count) { days_.reserve(count); }

  // Ranges before days with school and on weekends; empty when the settings name none. The manager adds one range each.
  [[nodiscard]] const std::vector<TimeRange>& schoolNights() const& noexcept { return schoolNights_; }
  [[nodiscard]] std::vector<TimeRange> schoolNights() && noexcept { return std::move(schoolNights_); }
  void addSchoolNights(std::vector<TimeRange> ranges) { add(std::move(ranges), schoolNights_); }
  [[nodiscard]] const std::vector<TimeRange>& weekends() const& noexcept { return weekends_; }
  [[nodiscard]] std::vector<TimeRange> weekends() && noexcept { return std::move(weekends_); }
  void addWeekends(std::vector<TimeRange> ranges) { add(std::move(ranges), weekends_); }

  // One line with all that the record holds, for logs.
  [[nodiscard]] std::string description() const;
  friend bool operator==(const QLCurfew&, const QLCurfew&) = default;
  friend std::ostream& operator<<(std::ostream& stream, const QLCurfew& curfew) {
    return stream << curfew.description();
  }

 private:
  static void add(std::vector<TimeRange> ranges, std::vector<TimeRange>& target) {
    if (target.empty()) {
      target = std::move(ranges);
    } else {
      target.insert(target.end(), ranges.begin(), ranges.end());
    }
  }

  bool isEnabled_ = false;
  std::vector<DayEntry> days_;
  std::vector<TimeRange> schoolNights_;
  std::vector<TimeRange> weekends_;
};

// A day with a quota. Its duration and its name stand beside it in QLQuota.
class QLCZEPHRA_EXPORT QLQuotaDay {
 public:
  [[nodiscard]] bool isEnabled() const noexcept { return isEnabled_; }  // false at first
  void setIsEnabled(bool isEnabled) noexcept { isEnabled_ = isEnabled; }

  [[nodiscard]] std::string description() const;
  friend bool operator==(const QLQuotaDay&, const QLQuotaDay&) noexcept = default;
  friend std::ostream& operator<<(std::ostream& stream, const QLQuotaDay& day) { return stream << day.description(); }

 private:
  bool isEnabled_ = false;
};

// How long the computer may be used on each day.
class QLCZEPHRA_EXPORT QLQuota {
 public:
  struct QLCZEPHRA_EXPORT DayEntry {
    QLQuotaDay day;
    std::int64_t duration = 0;
    std::string dayName;  // "monday" to "sunday"

    [[nodiscard]] std::string description() const;
    friend bool operator==(const DayEntry&, const DayEntry&) = default;
    friend std::ostream& operator<<(std::ostream& stream, const DayEntry& entry) {
      return stream << entry.description();
    }
  };

  [[nodiscard]] bool isEnabled() const noexcept { return isEnabled_; }  // false at first
  void setIsEnabled(bool isEnabled) noexcept { isEnabled_ = isEnabled; }

  // In the order added; the manager adds Monday first, each day at most once.
  [[nodiscard]] const std::vector<DayEntry>& days() const& noexcept { return days_; }
  [[nodiscard]] std::vector<DayEntry> days() && noexcept { return std::move(days_); }
  void addDay(QLQuotaDay day, std::int64_t duration, std::string dayName) {
    days_.push_back({day, duration, std::move(dayName)});
  }
  // Makes room for that many days at once.
  void reserveDays(std::size_t count) { days_.reserve(count); }

  // One line with all that the record holds, for logs.
  [[nodiscard]] std::string description() const;
  friend bool operator==(const QLQuota&, const QLQuota&) = default;
  friend std::ostream& operator<<(std::ostream& stream, const QLQuota& quota) { return stream << quota.description(); }

 private:
  bool isEnabled_ = false;
  std::vector<DayEntry> days_;
};

// Quota and curfew under the master switch, which does not change what they hold.
class QLCZEPHRA_EXPORT QLTimeLimits {
 public:
  QLTimeLimits(std::optional<QLQuota> quota, std::optional<QLCurfew> curfew)
      : quota_(std::move(quota)), curfew_(std::move(curfew)) {}

  [[nodiscard]] bool isEnabled() const noexcept { return isEnabled_; }  // false at first
  void setIsEnabled(bool isEnabled) noexcept { isEnabled_ = isEnabled; }
  // None when there is no quota or curfew to observe.
  [[nodiscard]] const std::optional<QLQuota>& quota() const& noexcept { return quota_; }
  [[nodiscard]] std::optional<QLQuota> quota() && noexcept { return std::move(quota_); }
  [[nodiscard]] const std::optional<QLCurfew>& curfew() const& noexcept { return curfew_; }
  [[nodiscard]] std::optional<QLCurfew> curfew() && noexcept { return std::move(curfew_); }

  // One line with all that the record holds, for logs.
  [[nodiscard]] std::string description() const;
  friend bool operator==(const QLTimeLimits&, const QLTimeLimits&) = default;
  friend std::ostream& operator<<(std::ostream& stream, const QLTimeLimits& limits) {
    return stream << limits.description();
  }

 private:
  bool isEnabled_ = false;
  std::optional<QLQuota> quota_;
  std::optional<QLCurfew> curfew_;
};

}  // namespace qlczephra
