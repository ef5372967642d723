// What records promise to a host besides their fields: the integers, copies, equality, text that is safe in a log.
#include <gtest/gtest.h>

#include <sstream>

#include "qlczephra/policy/firewall.h"
#include "qlczephra/policy/proxy.h"
#include "qlczephra/policy/scheduled_scanning.h"
#include "qlczephra/policy/time_limits.h"

namespace qlczephra {
namespace {

static_assert(QLCScanningFrequencyDaily == 0 && QLCScanningFrequencyWeekly == 1 && QLCScanningFrequencyMonthly == 2);
static_assert(QLCFirewallActionAllow == 0 && QLCFirewallActionBlock == 1);
static_assert(QLCFirewallDirectionIn == 0 && QLCFirewallDirectionOut == 1 && QLCFirewallDirectionAll == 2);
static_assert(QLCFirewallCertificateValidationDistribution == 0 && QLCFirewallCertificateValidationAll == 1 &&
              QLCFirewallCertificateValidationPerRule == 2);
static_assert(QLCHTTPProxyTypeNone == 0 && QLCHTTPProxyTypeSystem == 1 && QLCHTTPProxyTypeUserDefined == 2);

TEST(PolicyRecords, AreUnsetWhereNothingWasSet) {
  const QLCPMProxySettings proxy;
  EXPECT_FALSE(proxy.overridePMAddress() || proxy.fallbackToPM() || proxy.proxies() || proxy.fallbackToCloud());
  const QLCVORT2Settings vort2;
  EXPECT_FALSE(vort2.localServerAddress() || vort2.fallbackToGlobal() || vort2.httpProxy().address());
  EXPECT_FALSE(QLCPMAddress().httpPort() || QLCPMAddress().httpsPort());
  EXPECT_FALSE(QLCSchedule().days());
}

TEST(PolicyRecords, AddedEntriesKeepTheirOrderAndACopyGoesItsOwnWay) {
  QLCurfew curfew;
  curfew.addDay(QLCurfewDay(), std::nullopt, "sunday");
  curfew.addDay(QLCurfewDay(), std::vector{TimeRange::between(2, 1)}, "monday");
  curfew.addWeekends({TimeRange::between(1, 2)});
  QLCurfew copy = curfew;
  EXPECT_EQ(copy, curfew);
  copy.addWeekends({TimeRange::between(3, 4)});
  EXPECT_NE(copy, curfew);
  EXPECT_EQ(copy.weekends(), (std::vector{TimeRange::between(1, 2), TimeRange::between(3, 4)}));
  EXPECT_EQ(curfew.description(),
            "<QLCurfew: isEnabled false, days [<QLCurfewDay: dayName \"sunday\", isEnabled false, ranges none>, "
            "<QLCurfewDay: dayName \"monday\", isEnabled false, ranges [2-1]>], schoolNights [], weekends [1-2]>");
}

TEST(PolicyRecords, ASettingCannotForgeALineOfALog) {
  QLCPMAddress address;
  address.setAddress("a\nb\"c\\\x7F\xC3\xA9");
  std::ostringstream stream;
  stream << address;
  EXPECT_EQ(stream.str(), "<QLCPMAddress: address \"a\\x0Ab\\\"c\\\\\\x7F\xC3\xA9\", httpPort none, httpsPort none>");
}

TEST(PolicyRecords, ARuleDiffersInEachField) {
  const QLCFirewallRule rule("n", "d", QLCFirewallActionAllow, QLCFirewallDirectionIn, {"s"}, {"t"},
                             QLCFirewallCertificateValidationAll);
  const QLCFirewallRule others[] = {
      {"N", "d", QLCFirewallActionAllow, QLCFirewallDirectionIn, {"s"}, {"t"}, QLCFirewallCertificateValidationAll},
      {"n",
       std::nullopt,
       QLCFirewallActionAllow,
       QLCFirewallDirectionIn,
       {"s"},
       {"t"},
       QLCFirewallCertificateValidationAll},
      {"n", "d", QLCFirewallActionBlock, QLCFirewallDirectionIn, {"s"}, {"t"}, QLCFirewallCertificateValidationAll},
      {"n", "d", QLCFirewallActionAllow, QLCFirewallDirectionAll, {"s"}, {"t"}, QLCFirewallCertificateValidationAll},
      {"n", "d", QLCFirewallActionAllow, QLCFirewallDirectionIn, {}, {"t"}, QLCFirewallCertificateValidationAll},
      {"n", "d", QLCFirewallActionAllow, QLCFirewallDirectionIn, {"s"}, {"s"}, QLCFirewallCertificateValidationAll},
      {"n", "d", QLCFirewallActionAllow, QLCFirewallDirectionIn, {"s"}, {"t"}, QLCFirewallCertificateValidationPerRule},
  };
  for (const QLCFirewallRule& other : others) {
    EXPECT_NE(rule, other);
    EXPECT_NE(rule.description(), other.description());
  }
}

}  // namespace
}  // namespace qlczephra
