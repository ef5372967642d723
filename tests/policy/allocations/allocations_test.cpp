// What views cost: allocations, which are bounded by what a record hands out and do not depend on other settings, and
// time, which is printed.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <new>

#include "policy/views.h"
#include "tests/policy/large_settings.h"
#include "tests/policy/plain_settings.h"

namespace {
// Each thread counts its own, so that what runs beside the test does not matter.
thread_local std::size_t allocations = 0;
}  // namespace

void* operator new(std::size_t size) {
  ++allocations;
  if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  ++allocations;
  return std::malloc(size == 0 ? 1 : size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace qlczephra::policy {
namespace {

// Counts records, lists and strings in a record, that one included; numbers and switches are none. A class, so that the
// overloads see each other.
struct HandedOut {
  static std::size_t in(const std::string&) { return 1; }
  static std::size_t in(const TimeRange&) { return 1; }
  static std::size_t in(std::int64_t) { return 0; }
  template <typename Item>
  static std::size_t in(const std::optional<Item>& item) {
    return item ? in(*item) : 0;
  }
  template <typename Range>
  requires requires(const Range& range) { range.begin(); }
  static std::size_t in(const Range& range) {
    std::size_t count = 1;
    for (const auto& element : range) count += in(element);
    return count;
  }
  static std::size_t in(const QLCurfew::DayEntry& entry) { return 1 + sum(entry.ranges, entry.dayName); }
  static std::size_t in(const QLCurfew& curfew) {
    return 1 + sum(curfew.days(), curfew.schoolNights(), curfew.weekends());
  }
  static std::size_t in(const QLQuota::DayEntry& entry) { return 1 + sum(entry.dayName); }
  static std::size_t in(const QLQuota& quota) { return 1 + sum(quota.days()); }
  static std::size_t in(const QLTimeLimits& limits) { return 1 + sum(limits.quota(), limits.curfew()); }
  static std::size_t in(const QLCBrowsingProtection& protection) {
    return 1 + sum(protection.whitelist(), protection.blacklist());
  }
  static std::size_t in(const QLContentCategories::CategoryEntry& entry) { return 1 + sum(entry.name); }
  static std::size_t in(const QLContentCategories& categories) { return 1 + sum(categories.categories()); }
  static std::size_t in(const QLCSchedule& schedule) { return 1 + sum(schedule.days()); }
  static std::size_t in(const QLCHTTPProxySettings& proxy) { return 1 + sum(proxy.address()); }
  static std::size_t in(const QLCVORT2Settings& settings) {
    return 1 + sum(settings.httpProxy(), settings.localServerAddress());
  }
  static std::size_t in(const QLCPMAddress& address) { return 1 + sum(address.address()); }
  static std::size_t in(const QLCPMProxySettings& settings) {
    return 1 + sum(settings.httpProxy(), settings.overridePMAddress(), settings.proxies());
  }
  static std::size_t in(const QLCFirewallRule& rule) {
    return 1 + sum(rule.name(), rule.descr(), rule.signingIDs(), rule.teamIDs());
  }
  static std::size_t in(const std::pair<const std::string, QLCFirewallProfile>& entry) {
    const QLCFirewallProfile& profile = entry.second;
    return 3 + sum(entry.first, profile.identifier(), profile.name(), profile.rules());  // two default actions inside
  }
  static std::size_t in(const QLCFirewall& firewall) {
    return 2 + sum(firewall.currentProfileID(), firewall.profiles());
  }
  template <typename... Items>
  static std::size_t sum(const Items&... items) {
    return (std::size_t{0} + ... + in(items));
  }
};

struct Cost {
  std::size_t allocations = 0;
  std::size_t handedOut = 0;
  double microseconds = 0;
};

template <typename View>
Cost costOf(View view, const Map& tree) {
  using Clock = std::chrono::steady_clock;
  Cost cost;
  auto fastest = Clock::duration::max();
  for (int i = 0; i < 30; ++i) {
    const std::size_t before = allocations;
    const auto begin = Clock::now();
    const auto record = view(Settings(&tree));
    fastest = std::min(fastest, Clock::now() - begin);
    cost.allocations = allocations - before;
    cost.handedOut = HandedOut::in(record);
  }
  cost.microseconds = std::chrono::duration<double, std::micro>(fastest).count();
  return cost;
}

TEST(PolicyAllocations, AtMostOneForEachRecordListOrStringWhateverTheSizeOfOtherSettings) {
  const Map alone = test::treeFor(test::largeSettings(0));
  const Map amongMany = test::treeFor(test::largeSettings(20000));
  std::printf("%-20s %12s %12s %12s %12s\n", "view", "handed out", "allocations", "us", "us among many");
  const auto check = [&](const char* name, auto view, std::size_t least) {
    const Cost cost = costOf(view, alone);
    const Cost costAmongMany = costOf(view, amongMany);
    std::printf("%-20s %12zu %12zu %12.1f %12.1f\n", name, cost.handedOut, cost.allocations, cost.microseconds,
                costAmongMany.microseconds);
    EXPECT_GE(cost.handedOut, least) << name << " has what the settings say";
    EXPECT_LE(cost.allocations, cost.handedOut) << name;
    EXPECT_EQ(cost.allocations, costAmongMany.allocations) << name;
  };
  check("timeLimits", timeLimits, 55);
  check("curfew", curfew, 40);
  check("quota", quota, 15);
  check("browsingProtection", browsingProtection, test::siteCount);
  check("contentCategories", contentCategories, 80);
  check("schedule", schedule, 2);
  check("pmProxySettings", pmProxySettings, 10);
  check("firewall", firewall, test::profileCount * test::rulesPerProfile * 5);
  check("vort2ProxySettings", vort2ProxySettings, 4);
}

}  // namespace
}  // namespace qlczephra::policy
