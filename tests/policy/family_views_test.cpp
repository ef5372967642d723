// Time limits, web filtering and scheduled scanning: which record follows from which settings. The settings pass
// through the interpretation of a document.
#include "tests/policy/view_cases.h"

namespace qlczephra::policy {
namespace {

using test::expectRecords;
using test::interpreted;
using test::mapFromJson;
using test::shownView;
using test::treeFor;

using Case = test::ViewCase;

TEST(PolicyViews, Curfew) {
  const Case cases[] = {
      {R"("monday": {"ranges": []})", "none"},
      {R"("enabled": false, "monday": {"ranges": []})", "none"},
      {R"("enabled": "true")", "none"},
      {R"("enabled": 1)", "none"},
      {R"("enabled": true)", "<QLCurfew: isEnabled true, days [], schoolNights [], weekends []>"},
      {R"("enabled": true, "sunday": {"ranges": []}, "monday": {"ranges": [{"from": 1, "until": 2}]},
          "someday": {"ranges": []}, "Tuesday": {"ranges": []}, "wednesday": {"ranges": 5}, "thursday": {}, "friday": 1)",
       "<QLCurfew: isEnabled true, days [<QLCurfewDay: dayName \"monday\", isEnabled true, ranges [1-2]>, "
       "<QLCurfewDay: dayName \"sunday\", isEnabled true, ranges []>], schoolNights [], weekends []>"},
      // One element that is no map discards the day; an object that is not complete is left out alone.
      {R"("enabled": true, "monday": {"ranges": [{"from": 1, "until": 2}, 5]},
          "tuesday": {"ranges": [{"from": 1}, {"from": 3, "until": 4}, {"from": 1, "until": "2"}, {"until": 1}, {},
                                 {"from": 1.5, "until": 2}, {"from": 5.0, "until": 6.0}, {"from": true, "until": 2},
                                 {"from": 18446744073709551615, "until": 2}]})",
       "<QLCurfew: isEnabled true, days [<QLCurfewDay: dayName \"tuesday\", isEnabled true, ranges [3-4, 5-6]>], "
       "schoolNights [], weekends []>"},
      {R"("enabled": true, "monday": {"ranges": [{"from": 1320, "until": 360}, {"from": -5, "until": 99999}]})",
       "<QLCurfew: isEnabled true, days [<QLCurfewDay: dayName \"monday\", isEnabled true, ranges [1320-360, "
       "-5-99999]>], schoolNights [], weekends []>"},
      {R"("enabled": true, "options": {"school_nights": {"enabled": true, "range": {"from": 1200, "until": 300}},
                                       "weekends": {"enabled": false, "range": {"from": 1, "until": 2}}})",
       "<QLCurfew: isEnabled true, days [], schoolNights [1200-300], weekends []>"},
      {R"("enabled": true, "options": {"school_nights": {"enabled": true, "range": {"from": 1200}},
                                       "weekends": {"enabled": true, "range": {"from": 1, "until": 2}}})",
       "<QLCurfew: isEnabled true, days [], schoolNights [], weekends [1-2]>"},
      {R"("enabled": true, "options": {"school_nights": {"range": {"from": 1200, "until": 3}},
                                       "weekends": {"enabled": true, "range": {"from": "1", "until": 2}}})",
       "<QLCurfew: isEnabled true, days [], schoolNights [], weekends []>"},
  };
  expectRecords(curfew, R"({"common": {"time": {"curfew": {)", "}}}}", cases);
}

TEST(PolicyViews, NegativeEndsOfARangeKeepTheirBits) {
  const Map tree = treeFor(R"({"common": {"time": {"curfew": {
      "enabled": true, "monday": {"ranges": [{"from": -1, "until": -9223372036854775808}]}}}}})");
  const auto record = curfew(Settings(&tree));
  ASSERT_TRUE(record && record->days().size() == 1 && record->days()[0].ranges);
  const TimeRange range = record->days()[0].ranges->at(0);
  EXPECT_EQ(range.location, 0xFFFFFFFFFFFFFFFFU);
  EXPECT_EQ(range.length, 0x8000000000000000U);
}

TEST(PolicyViews, Quota) {
  const Case cases[] = {
      {R"("monday": {"duration": 5})", "none"},
      {R"("enabled": false)", "none"},
      {R"("enabled": true)", "<QLQuota: isEnabled true, days []>"},
      {R"("enabled": true, "sunday": {"duration": 0, "enabled": true}, "monday": {"duration": -5, "enabled": false},
          "tuesday": {"duration": 7}, "wednesday": {"enabled": true}, "thursday": {"duration": "9"},
          "friday": {"duration": 2.5}, "saturday": {"duration": 3.0, "enabled": 1}, "day": {"duration": 1})",
       "<QLQuota: isEnabled true, days [<QLQuotaDay: dayName \"monday\", isEnabled false, duration -5>, "
       "<QLQuotaDay: dayName \"tuesday\", isEnabled false, duration 7>, "
       "<QLQuotaDay: dayName \"saturday\", isEnabled false, duration 3>, "
       "<QLQuotaDay: dayName \"sunday\", isEnabled true, duration 0>]>"},
  };
  expectRecords(quota, R"({"common": {"time": {"quota": {)", "}}}}", cases);
}

TEST(PolicyViews, TimeLimits) {
  const Case cases[] = {
      {"", "<QLTimeLimits: isEnabled false, quota none, curfew none>"},
      {R"("enabled": true)", "<QLTimeLimits: isEnabled true, quota none, curfew none>"},
      {R"("enabled": "true", "quota": {"enabled": true}, "curfew": {"enabled": false})",
       "<QLTimeLimits: isEnabled false, quota <QLQuota: isEnabled true, days []>, curfew none>"},
      {R"("enabled": false, "curfew": {"enabled": true})",
       "<QLTimeLimits: isEnabled false, quota none, curfew <QLCurfew: isEnabled true, days [], schoolNights [], "
       "weekends []>>"},
  };
  expectRecords(timeLimits, R"({"common": {"time": {)", "}}}", cases);
}

TEST(PolicyViews, BrowsingProtection) {
  const Case cases[] = {
      {R"("list": [])", "none"},
      {R"("enabled": true)", "none"},
      {R"("enabled": false, "list": [])", "none"},
      {R"("enabled": true, "list": {})", "none"},
      {R"("enabled": true, "list": [{"url": "a", "allowed": true}, "b"])", "none"},
      {R"("enabled": true, "list": [])", "<QLCBrowsingProtection: whitelist [], blacklist []>"},
      {R"("enabled": true, "list": [{"url": "b", "allowed": true}, {"url": "x", "allowed": false}, {"allowed": true},
          {"url": "a", "allowed": true}, {"url": 5, "allowed": false}, {"url": "b", "allowed": true}, {"url": "n"},
          {"url": "s", "allowed": "true"}, {"url": "1", "allowed": 1}, {"url": "0", "allowed": 0}, {},
          {"url": "", "allowed": false}])",
       R"(<QLCBrowsingProtection: whitelist ["b", "a", "b"], blacklist ["x", ""]>)"},
  };
  expectRecords(browsingProtection, R"({"common": {"sites": {)", "}}}", cases);
}

TEST(PolicyViews, ContentCategories) {
  const Case cases[] = {
      {R"("allowed_categories": {"chat": true})", "none"},
      {R"("enabled": false, "allowed_categories": {"chat": true})", "none"},
      {R"("enabled": true)", "none"},
      {R"("enabled": true, "allowed_categories": true)", "none"},
      {R"("enabled": true, "allowed_categories": {})", "<QLContentCategories: isEnabled true, categories []>"},
      {R"("enabled": true, "allowed_categories": {"weapons": false, "chat": true, "text": "true", "one": 1,
          "group": {"inner": true}, "with.dot": true})",
       "<QLContentCategories: isEnabled true, categories [<QLContentCategory: name \"chat\", isBlocked false>, "
       "<QLContentCategory: name \"weapons\", isBlocked true>]>"},
  };
  expectRecords(contentCategories, R"({"common": {"content": {)", "}}}", cases);
}

TEST(PolicyViews, RawMembersOfADynamicGroupAreNoCategoriesButPartOfAFlattenedGroup) {
  const auto document = interpreted(R"({"data": {
    "eff_schema": {
      "common": {"properties": {"content": {"properties": {
        "enabled": {"type": "boolean", "default": true},
        "allowed_categories": {"properties": {"chat": {"type": "boolean", "default": true}}, "dynamic": true}}}}},
      "macos": {"properties": {"scheduled_scanning": {"properties": {
        "enabled": {"type": "boolean", "default": true},
        "start_time": {"type": "object", "default": {"hours": 1, "minutes": {"v": 2}}},
        "scan_frequency": {"properties": {
          "frequency": {"type": "string", "default": "weekly"},
          "weekly_frequency": {"properties": {"friday": {"type": "boolean", "default": true}}, "dynamic": true}}}}}}}},
    "values": {"common": {"content": {"allowed_categories": {"games": false, "odd": {"v": true}}}},
               "macos": {"scheduled_scanning": {"scan_frequency": {"weekly_frequency": {"monday": true}}}}}}})");
  ASSERT_TRUE(document);
  const Map tree = document->effectiveTree({});
  EXPECT_EQ(shownView(contentCategories, tree),
            "<QLContentCategories: isEnabled true, categories [<QLContentCategory: name \"chat\", isBlocked false>, "
            "<QLContentCategory: name \"odd\", isBlocked false>]>");
  EXPECT_EQ(shownView(schedule, tree), "<QLCSchedule: frequency weekly, hour 1, minute 2, days [5, 1]>");
}

TEST(PolicyViews, Schedule) {
  const Case required[] = {
      {"", "none"},
      {R"(, "start_time": {"hours": 1, "minutes": 2})", "none"},
      {R"(, "scan_frequency": {"frequency": "daily"})", "none"},
      {R"(, "start_time": {"hours": 1, "minutes": "2"}, "scan_frequency": {"frequency": "daily"})", "none"},
      {R"(, "start_time": {"minutes": 2}, "scan_frequency": {"frequency": "daily"})", "none"},
      {R"(, "start_time": {"hours": 1.5, "minutes": 2}, "scan_frequency": {"frequency": "daily"})", "none"},
      {R"(, "start_time": {"hours": 1, "minutes": 2}, "scan_frequency": {"frequency": "Daily"})", "none"},
      {R"(, "start_time": {"hours": 1, "minutes": 2}, "scan_frequency": {"frequency": 0})", "none"},
      {R"(, "start_time": {"hours": 1, "minutes": 2}, "scan_frequency": {})", "none"},
      {R"(, "start_time": {"hours": 1, "minutes": 2}, "scan_frequency": "daily")", "none"},
      {R"(, "start_time": 1, "scan_frequency": {"frequency": "daily"})", "none"},
      {R"(, "start_time": {"hours": 25, "minutes": 75}, "scan_frequency": {"frequency": "daily",
          "weekly_frequency": {"monday": true}, "monthly_frequency": {"days": [1]}})",
       "<QLCSchedule: frequency daily, hour 25, minute 75, days none>"},
  };
  expectRecords(schedule, R"({"macos": {"scheduled_scanning": {"enabled": true)", "}}}", required);
  for (const char* enabled : {R"("enabled": false, )", R"("enabled": 1, )", ""}) {
    const Case disabled[] = {
        {R"("start_time": {"hours": 1, "minutes": 2}, "scan_frequency": {"frequency": "daily"})", "none"}};
    expectRecords(schedule, std::string(R"({"macos": {"scheduled_scanning": {)") + enabled, "}}}", disabled);
  }

  const Case days[] = {
      {R"("weekly")", "<QLCSchedule: frequency weekly, hour 0, minute 5, days none>"},
      {R"("weekly", "weekly_frequency": true)", "<QLCSchedule: frequency weekly, hour 0, minute 5, days none>"},
      {R"("weekly", "weekly_frequency": {"monday": true, "sunday": 1})",
       "<QLCSchedule: frequency weekly, hour 0, minute 5, days none>"},
      {R"("weekly", "weekly_frequency": {}, "monthly_frequency": {"days": [3]})",
       "<QLCSchedule: frequency weekly, hour 0, minute 5, days []>"},
      {R"("weekly", "weekly_frequency": {"monday": false, "sunday": false})",
       "<QLCSchedule: frequency weekly, hour 0, minute 5, days []>"},
      {R"("weekly", "weekly_frequency": {"monday": true, "funday": true, "Sunday": true, "tuesday": false})",
       "<QLCSchedule: frequency weekly, hour 0, minute 5, days [1]>"},
      {R"("weekly", "weekly_frequency": {"monday": true, "tuesday": true, "wednesday": true, "thursday": true,
          "friday": true, "saturday": true, "sunday": true})",
       "<QLCSchedule: frequency weekly, hour 0, minute 5, days [5, 1, 6, 7, 4, 2, 3]>"},
      {R"("monthly", "monthly_frequency": {"days": [1, 15, 31, 99, -1, 15, 2.0]}, "weekly_frequency": {"monday": true})",
       "<QLCSchedule: frequency monthly, hour 0, minute 5, days [1, 15, 31, 99, -1, 15, 2]>"},
      {R"("monthly", "monthly_frequency": {"days": []})",
       "<QLCSchedule: frequency monthly, hour 0, minute 5, days []>"},
      {R"("monthly", "monthly_frequency": {"days": [1, 2.5]})",
       "<QLCSchedule: frequency monthly, hour 0, minute 5, days none>"},
      {R"("monthly", "monthly_frequency": {"days": [1, "2"]})",
       "<QLCSchedule: frequency monthly, hour 0, minute 5, days none>"},
      {R"("monthly", "monthly_frequency": [1])", "<QLCSchedule: frequency monthly, hour 0, minute 5, days none>"},
      {R"("monthly", "weekly_frequency": {"monday": true})",
       "<QLCSchedule: frequency monthly, hour 0, minute 5, days none>"},
  };
  expectRecords(schedule,
                R"({"macos": {"scheduled_scanning": {"enabled": true, "start_time": {"hours": 0, "minutes": 5},
                       "scan_frequency": {"frequency": )",
                "}}}}", days);
}

}  // namespace
}  // namespace qlczephra::policy
