// Random and half-broken policy settings through document, merge and all views: nothing fails, every view gives none
// exactly when a plain reading of its rules says so, and firewall, schedule and proxies give the very record that such
// a reading gives.
#include <algorithm>
#include <array>

#include "document/tree_walk.h"
#include "service/sample_document.h"
#include "tests/policy/damage.h"
#include "tests/policy/plain_reading.h"
#include "tests/policy/plain_views.h"
#include "tests/policy/view_cases.h"
#include "tests/support/seeds.h"
#include "tests/support/settings_document.h"

namespace qlczephra::policy {
namespace {

using test::Damage;
using test::flatAt;
using test::interpreted;
using test::isString;
using test::isTrue;
using test::mapFromJson;
using test::mapIn;
using test::mapsIn;

std::size_t sitesWith(const Map& tree, bool allowed) {
  const List* list = mapsIn(document::valueAt(tree, "common.sites.list"));
  std::size_t count = 0;
  for (const Value& site : *list) {
    const Value* flag = site.map()->find("allowed");
    if (flag != nullptr && flag->boolean() == allowed && isString(site.map()->find("url"))) ++count;
  }
  return count;
}

struct Counts {
  std::array<std::size_t, 7> records{};  // how often each view that may give none gave one
  std::size_t profiles = 0;              // of all firewalls
  std::size_t rules = 0;
  std::size_t wholeFirewalls = 0;  // with every profile of the sample
};

void checkViews(const Map& tree, Counts& counts) {
  const Settings settings(&tree);
  auto check = [&, view = std::size_t{0}](const char* name, const auto& record, bool expected) mutable {
    EXPECT_EQ(record.has_value(), expected) << name;
    counts.records.at(view++) += record ? 1U : 0U;
  };
  const auto sites = browsingProtection(settings);
  testing::internal::CaptureStdout();
  const auto pm = pmProxySettings(settings);
  const std::string written = testing::internal::GetCapturedStdout();

  check("curfew", curfew(settings), isTrue(document::valueAt(tree, "common.time.curfew.enabled")));
  check("quota", quota(settings), isTrue(document::valueAt(tree, "common.time.quota.enabled")));
  check("browsingProtection", sites,
        isTrue(document::valueAt(tree, "common.sites.enabled")) &&
            mapsIn(document::valueAt(tree, "common.sites.list")) != nullptr);
  check("contentCategories", contentCategories(settings),
        isTrue(document::valueAt(tree, "common.content.enabled")) &&
            flatAt(tree, "common.content.allowed_categories").has_value());
  std::size_t rejected = 0;
  const auto expectedPm = test::plainPm(tree, rejected);
  const auto expectedSchedule = test::plainSchedule(tree);
  const auto expectedVort2 = test::plainVort2(tree);
  check("schedule", schedule(settings), expectedSchedule.has_value());
  check("pmProxySettings", pm, expectedPm.has_value());
  check("vort2ProxySettings", vort2ProxySettings(settings), expectedVort2.has_value());
  EXPECT_EQ(schedule(settings), expectedSchedule);
  EXPECT_EQ(pm, expectedPm);
  EXPECT_EQ(vort2ProxySettings(settings), expectedVort2);
  EXPECT_EQ(static_cast<std::size_t>(std::count(written.begin(), written.end(), '\n')), rejected);

  const QLCFirewall wall = firewall(settings);
  EXPECT_EQ(wall, test::plainFirewall(tree));
  counts.profiles += wall.profiles().size();
  counts.wholeFirewalls += wall.profiles().size() == 3 ? 1U : 0U;
  for (const auto& [identifier, profile] : wall.profiles()) {
    EXPECT_EQ(profile.identifier(), identifier);
    counts.rules += profile.rules().size();
  }
  if (sites) {
    EXPECT_EQ(sites->whitelist().size(), sitesWith(tree, true));
    EXPECT_EQ(sites->blacklist().size(), sitesWith(tree, false));
  }
  const QLTimeLimits limits = timeLimits(settings);
  EXPECT_EQ(limits.curfew(), curfew(settings));
  EXPECT_EQ(limits.quota(), quota(settings));
  EXPECT_EQ(limits, timeLimits(settings));
  EXPECT_EQ(contentCategories(settings), contentCategories(settings));
}

class Sample {
 public:
  Sample() : document_(mapFromJson(service::sampleDocument())) {}

  // The tree of the sample with schema, values and pending changes damaged, each in its own measure. None where nothing
  // is left that could be interpreted.
  [[nodiscard]] std::optional<Map> damagedTree(std::uint64_t seed) const {
    constexpr std::size_t rates[] = {0, 3, 10, 30, 100};
    Damage schemaDamage(seed * 4, rates[seed % 5]);
    Damage valuesDamage(seed * 4 + 1, rates[seed / 5 % 5]);
    Damage changesDamage(seed * 4 + 2, rates[seed / 25 % 5] + 10);
    const Map& data = *mapIn(document_, "data");
    Map::Builder schemas;
    for (const auto [section, schema] : *mapIn(data, "eff_schema")) schemas.set(section, schemaDamage.on(schema));
    const Map& values = *mapIn(data, "values");
    const Map damaged{{"data", Map{{"eff_schema", schemas.build()}, {"values", valuesDamage.on(values)}}}};
    const auto document = interpreted(damaged);
    if (!document) return std::nullopt;
    const Map sending = changesDamage.on(values);
    const Map patch = seed % 3 == 0 ? changesDamage.on(values) : Map();
    const Map tree = document->effectiveTree({&sending, &patch});
    // What a damaged settings file may bring back.
    return seed % 4 == 0 ? Damage(seed * 4 + 3, rates[seed / 4 % 5]).on(tree) : tree;
  }

 private:
  Map document_;
};

TEST(PolicyViews, GiveNoneExactlyWhereARecordCannotBeAndNeverFail) {
  constexpr std::uint64_t seeds = test::seedsOf(1500);
  const Sample sample;
  Counts counts;
  std::size_t trees = 0;
  for (std::uint64_t seed = 0; seed < seeds; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    const auto tree = sample.damagedTree(seed);
    if (!tree) continue;
    ++trees;
    checkViews(*tree, counts);
    if (HasFailure()) break;
  }
  // The test means little unless each view met both sides often.
  EXPECT_GT(trees, seeds / 2);
  for (const std::size_t records : counts.records) {
    EXPECT_GT(records, trees / 20);
    EXPECT_LT(records, trees - trees / 20);
  }
  EXPECT_GT(counts.profiles, trees / 4);
  EXPECT_GT(counts.rules, trees / 4);
  EXPECT_GT(counts.wholeFirewalls, trees / 20);
  EXPECT_LT(counts.wholeFirewalls, trees - trees / 20);
}

}  // namespace
}  // namespace qlczephra::policy
