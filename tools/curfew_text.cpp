// A week's curfew for people: a row for each day, with bars where all values can be minutes of a day.
#include <algorithm>

#include "tools/policy_text.h"

namespace qlczephra::tools {
namespace {

constexpr std::int64_t endOfDay = 1440;
constexpr std::size_t barWidth = 48;  // 30 to a character
constexpr const char* scale = "0           360         720         1080         1440";
constexpr const char* dayNames[] = {"monday", "tuesday", "wednesday", "thursday", "friday", "saturday", "sunday"};

bool canBeMinutes(const TimeRange& range) {
  return range.from() >= 0 && range.from() <= endOfDay && range.until() >= 0 && range.until() <= endOfDay;
}

bool canBeDrawn(const QLCurfew& curfew) {
  return std::all_of(curfew.days().begin(), curfew.days().end(), [](const QLCurfew::DayEntry& entry) {
    return !entry.ranges || std::all_of(entry.ranges->begin(), entry.ranges->end(), canBeMinutes);
  });
}

// A range that ends before it begins runs to the end of the day; ">" says that it goes on.
std::string bar(const std::vector<TimeRange>& ranges) {
  constexpr auto step = endOfDay / static_cast<std::int64_t>(barWidth);
  std::string text(barWidth, '.');
  for (const TimeRange& range : ranges) {
    if (range.from() == range.until()) continue;  // no time at all
    const bool goesOn = range.until() < range.from();
    const std::int64_t until = goesOn ? endOfDay : range.until();
    for (std::size_t i = 0; i < barWidth; ++i) {
      const auto begin = static_cast<std::int64_t>(i) * step;
      if (begin < until && begin + step > range.from()) text[i] = '#';
    }
    if (goesOn) text.back() = '>';
  }
  return "|" + text + "|";
}

std::string numbers(const std::vector<TimeRange>& ranges) {
  std::string text;
  for (const TimeRange& range : ranges) text += (text.empty() ? "" : ", ") + range.description();
  return text.empty() ? "-" : text;
}

}  // namespace

Lines asText(const QLCurfew& curfew) {
  const bool drawn = canBeDrawn(curfew);
  std::vector<std::vector<std::string>> rows;
  if (drawn) rows.push_back({"", scale});
  for (const char* name : dayNames) {
    const auto entry = std::find_if(curfew.days().begin(), curfew.days().end(),
                                    [&](const QLCurfew::DayEntry& one) { return one.dayName == name; });
    std::vector<std::string> row = {name};
    if (entry == curfew.days().end() || !entry->ranges) {
      row.emplace_back("no entry");
    } else {
      if (drawn) row.push_back(bar(*entry->ranges));
      row.push_back(numbers(*entry->ranges));
    }
    rows.push_back(std::move(row));
  }
  Lines lines = {curfew.isEnabled() ? "on" : "off"};
  append(lines, tableLines(rows));
  append(lines, {"school nights: " + numbers(curfew.schoolNights()), "weekends: " + numbers(curfew.weekends())});
  return lines;
}

}  // namespace qlczephra::tools
