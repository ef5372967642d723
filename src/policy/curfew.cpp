// The periods of each day, and of school nights and weekends, during which the computer may not be used.
#include "policy/days.h"
#include "policy/views.h"

namespace qlczephra::policy {

namespace {

namespace path {
constexpr std::string_view enabled = "common.time.curfew.enabled";  // boolean true; else no curfew
constexpr DayPaths dayRanges("common.time.curfew.", ".ranges");     // list of range objects; else no entry for the day
struct Option {
  std::string_view enabled;  // boolean true; else no range
  std::string_view from;     // integer; else no range
  std::string_view until;    // integer; else no range
};
constexpr Option schoolNights = {"common.time.curfew.options.school_nights.enabled",
                                 "common.time.curfew.options.school_nights.range.from",
                                 "common.time.curfew.options.school_nights.range.until"};
constexpr Option weekends = {"common.time.curfew.options.weekends.enabled",
                             "common.time.curfew.options.weekends.range.from",
                             "common.time.curfew.options.weekends.range.until"};
}  // namespace path

namespace member {  // of a range object; an object without both integers is left out
constexpr std::string_view from = "from";
constexpr std::string_view until = "until";
}  // namespace member

std::optional<TimeRange> rangeBetween(const document::PlainValueView& from, const document::PlainValueView& until) {
  const auto start = from.number();
  const auto end = until.number();
  return start && end ? std::optional(TimeRange::between(*start, *end)) : std::nullopt;
}

std::vector<TimeRange> ranges(const List& objects) {
  std::vector<TimeRange> result;
  result.reserve(objects.size());
  for (const Value& value : objects) {
    const document::PlainMapView object(*value.map(), false);
    if (const auto range = rangeBetween(object[member::from], object[member::until])) result.push_back(*range);
  }
  return result;
}

std::optional<TimeRange> optionRange(const Settings& settings, const path::Option& option) {
  if (settings[option.enabled].boolean() != true) return std::nullopt;
  return rangeBetween(settings[option.from], settings[option.until]);
}

}  // namespace

std::optional<QLCurfew> curfew(const Settings& settings) {
  if (settings[path::enabled].boolean() != true) return std::nullopt;
  QLCurfew curfew;
  curfew.setIsEnabled(true);
  curfew.reserveDays(dayNames.size());
  for (std::size_t day = 0; day < dayNames.size(); ++day) {
    const List* objects = settings[path::dayRanges[day]].listOfMaps();
    if (objects == nullptr) continue;
    QLCurfewDay curfewDay;
    curfewDay.setIsEnabled(true);  // there is no switch for a single day
    curfew.addDay(curfewDay, ranges(*objects), std::string(dayNames[day]));
  }
  if (const auto range = optionRange(settings, path::schoolNights)) curfew.addSchoolNights({*range});
  if (const auto range = optionRange(settings, path::weekends)) curfew.addWeekends({*range});
  return curfew;
}

}  // namespace qlczephra::policy
