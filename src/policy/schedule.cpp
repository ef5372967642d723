// When the computer is scanned. All is read from one group as plain values.
#include <algorithm>

#include "policy/days.h"
#include "policy/enum_names.h"
#include "policy/views.h"

namespace qlczephra::policy {

namespace {

using Days = std::optional<std::vector<std::int64_t>>;

constexpr std::string_view groupPath = "macos.scheduled_scanning";

namespace member {
constexpr std::string_view enabled = "enabled";            // boolean true; else no record
constexpr std::string_view startTime = "start_time";       // map; else no record
constexpr std::string_view hours = "hours";                // in it: integer; else no record
constexpr std::string_view minutes = "minutes";            // in it: integer; else no record
constexpr std::string_view frequency = "scan_frequency";   // map; else no record
constexpr std::string_view word = "frequency";             // in it: one of the words; else no record
constexpr std::string_view weekly = "weekly_frequency";    // in it: map from day name to boolean; else no days
constexpr std::string_view monthly = "monthly_frequency";  // in it: map; else no days
constexpr std::string_view days = "days";                  // in that: list of integers; else no days
}  // namespace member

constexpr Word<QLCScanningFrequency> frequencies[] = {
    {"daily", QLCScanningFrequencyDaily},
    {"weekly", QLCScanningFrequencyWeekly},
    {"monthly", QLCScanningFrequencyMonthly},
};

// The numbers of the days that are true; a member that is no day is skipped. None when a member is no boolean.
Days weekDays(const document::PlainMapView& frequency) {
  const auto weekly = frequency[member::weekly].map();
  if (!weekly) return std::nullopt;
  std::vector<std::int64_t> days;
  days.reserve(dayNames.size());
  bool allBooleans = true;
  weekly->forEach([&](std::string_view name, const document::PlainValueView& value) {
    const auto selected = value.boolean();
    allBooleans = allBooleans && selected.has_value();
    const auto* day = std::find(dayNames.begin(), dayNames.end(), name);
    if (selected == true && day != dayNames.end()) days.push_back(day - dayNames.begin() + 1);
  });
  return allBooleans ? std::optional(std::move(days)) : std::nullopt;
}

Days monthDays(const document::PlainMapView& frequency) {
  const auto monthly = frequency[member::monthly].map();
  const List* numbers = monthly ? (*monthly)[member::days].listOfNumbers() : nullptr;
  if (numbers == nullptr) return std::nullopt;
  std::vector<std::int64_t> days;
  days.reserve(numbers->size());
  for (const Value& number : *numbers) days.push_back(number.wholeNumber().value_or(0));
  return days;
}

Days daysOf(QLCScanningFrequency frequency, const document::PlainMapView& settings) {
  switch (frequency) {
    case QLCScanningFrequencyWeekly:
      return weekDays(settings);
    case QLCScanningFrequencyMonthly:
      return monthDays(settings);
    case QLCScanningFrequencyDaily:
      break;
  }
  return std::nullopt;
}

}  // namespace

std::optional<QLCSchedule> schedule(const Settings& settings) {
  const auto group = settings[groupPath].map();
  if (!group || (*group)[member::enabled].boolean() != true) return std::nullopt;
  const auto startTime = (*group)[member::startTime].map();
  if (!startTime) return std::nullopt;
  const auto hours = (*startTime)[member::hours].number();
  const auto minutes = (*startTime)[member::minutes].number();
  if (!hours || !minutes) return std::nullopt;
  const auto scanFrequency = (*group)[member::frequency].map();
  if (!scanFrequency) return std::nullopt;
  const auto frequency = valueOfWord(frequencies, (*scanFrequency)[member::word].string());
  if (!frequency) return std::nullopt;

  QLCSchedule schedule;
  schedule.setFrequency(*frequency);
  schedule.setHour(*hours);
  schedule.setMinute(*minutes);
  schedule.setDays(daysOf(*frequency, *scanFrequency));
  return schedule;
}

}  // namespace qlczephra::policy
