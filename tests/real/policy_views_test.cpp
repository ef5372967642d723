// Policy views beside a thread that replaces the settings: every record is the record of one revision.
#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "tests/policy/plain_settings.h"
#include "tests/real/manager_fixture.h"

namespace qlczephra::test {
namespace {

// Settings in which everything that a view reads tells the revision: # is its number, ? whether that is even.
constexpr const char* settingsOfRevision = R"({
  "common": {
    "time": {"enabled": ?,
             "curfew": {"enabled": ?, "monday": {"ranges": [{"from": #, "until": #}]},
                        "sunday": {"ranges": [{"from": #, "until": 0}]}},
             "quota": {"enabled": true, "monday": {"enabled": true, "duration": #},
                       "sunday": {"enabled": true, "duration": #}}},
    "sites": {"enabled": true, "list": [{"url": "https://#.example/", "allowed": true},
                                        {"url": "https://x#.example/", "allowed": false}]},
    "content": {"enabled": true, "allowed_categories": {"a#": true, "b#": false}}},
  "macos": {
    "scheduled_scanning": {"enabled": true, "start_time": {"hours": #, "minutes": #},
                           "scan_frequency": {"frequency": "monthly", "monthly_frequency": {"days": [#]}}},
    "vort2": {"proxy_type": "user_defined_http_proxy", "proxy_address": "p#", "local_server_address": "l#"},
    "firewall": {"enabled": ?, "qlcfw_enabled": ?, "current_profile_id": "p#", "profiles": [{
      "profile_id": "p#", "profile_name": "N#",
      "default_actions": {"incoming": {"action": "block", "allow_builtin": ?, "allow_signed": true},
                          "outgoing": {"action": "allow", "allow_builtin": ?, "allow_signed": true}},
      "rules": [{"enabled": true, "name": "R#", "action": "allow", "direction": "in", "signing_id_list": ["s#"],
                 "team_id_list": []}]}]}},
  "windows": {
    "policy_manager": {"override_address": {"host": "o#"},
                       "proxy_auto_selection": {"addresses": [{"host": "a#", "http_port": #}]}},
    "vort2": {"proxy_type": "user_defined", "user_proxy": "u#", "local_server": {"fallback_to_global": ?}}}})";

Map revision(int number) {
  std::string settings;
  for (const char* text = settingsOfRevision; *text != 0; ++text) {
    if (*text == '#') {
      settings += std::to_string(number);
    } else if (*text == '?') {
      settings += number % 2 == 0 ? "true" : "false";
    } else {
      settings += *text;
    }
  }
  return treeFor(settings);
}

struct Records {
  explicit Records(const QLCZephraManager& manager)
      : timeLimits(manager.timeLimits()),
        curfew(manager.curfew()),
        quota(manager.quota()),
        browsingProtection(manager.browsingProtection()),
        contentCategories(manager.contentCategories()),
        schedule(manager.schedule()),
        pmProxySettings(manager.pmProxySettings()),
        firewall(manager.firewall()),
        vort2ProxySettings(manager.vort2ProxySettings()) {}

  QLTimeLimits timeLimits;
  std::optional<QLCurfew> curfew;
  std::optional<QLQuota> quota;
  std::optional<QLCBrowsingProtection> browsingProtection;
  std::optional<QLContentCategories> contentCategories;
  std::optional<QLCSchedule> schedule;
  std::optional<QLCPMProxySettings> pmProxySettings;
  QLCFirewall firewall;
  std::optional<QLCVORT2Settings> vort2ProxySettings;
};

TEST_F(RealManagerTest, EveryPolicyRecordIsThatOfOneRevision) {
  constexpr int revisions = 16;
  constexpr int replacements = 20000;
  const auto manager = makeManager();
  std::vector<Map> trees;
  std::vector<Records> expected;
  for (int number = 0; number < revisions; ++number) {
    trees.push_back(revision(number));
    manager->setCurrentSettings(trees.back());
    expected.emplace_back(*manager);
  }
  ASSERT_NE(expected[2].timeLimits, expected[4].timeLimits);
  ASSERT_TRUE(expected[1].pmProxySettings && expected[1].vort2ProxySettings && expected[1].schedule);

  std::atomic<bool> end{false};
  std::atomic<int> strangers{0};
  std::atomic<int> rounds{0};
  std::vector<std::thread> readers;
  for (int reader = 0; reader < 3; ++reader) {
    readers.emplace_back([&] {
      while (!end.load(std::memory_order_relaxed)) {
        const Records got(*manager);
        const auto isKnown = [&](auto member) {
          return std::any_of(expected.begin(), expected.end(),
                             [&](const Records& records) { return records.*member == got.*member; });
        };
        const bool known = isKnown(&Records::timeLimits) && isKnown(&Records::curfew) && isKnown(&Records::quota) &&
                           isKnown(&Records::browsingProtection) && isKnown(&Records::contentCategories) &&
                           isKnown(&Records::schedule) && isKnown(&Records::pmProxySettings) &&
                           isKnown(&Records::firewall) && isKnown(&Records::vort2ProxySettings);
        strangers += known ? 0 : 1;
        ++rounds;
      }
    });
  }
  for (int i = 0; i < replacements || rounds < 3000; ++i) {
    manager->setCurrentSettings(trees[static_cast<std::size_t>(i) % trees.size()]);
  }
  end = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(strangers, 0);
}

}  // namespace
}  // namespace qlczephra::test
