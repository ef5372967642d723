// Random and half-broken policy settings through document, merge and all views: nothing fails, every view gives none
// exactly when a plain reading of its rules says so, and the same settings give the same records.
#include <algorithm>
#include <array>

#include "document/tree_walk.h"
#include "service/sample_document.h"
#include "tests/policy/damage.h"
#include "tests/policy/view_cases.h"

namespace qlczephra::policy {
namespace {

using test::Damage;
using test::mapFromJson;
using test::shownView;

// ---- a plain reading of what each view needs, over copies of the settings

bool isTrue(const Value* value) {
  return value != nullptr && value->boolean() == true;
}
bool isWhole(const Value* value) {
  return value != nullptr && value->wholeNumber().has_value();
}
bool isString(const Value* value) {
  return value != nullptr && value->string().has_value();
}
bool isWord(const Value* value, std::initializer_list<const char*> words) {
  return isString(value) && std::find(words.begin(), words.end(), *value->string()) != words.end();
}
const Map* mapIn(const Map& map, std::string_view name) {
  const Value* value = map.find(name);
  return value == nullptr ? nullptr : value->map();
}
const List* mapsIn(const Value* value) {
  const List* list = value == nullptr ? nullptr : value->list();
  const auto isMap = [](const Value& element) { return element.map() != nullptr; };
  return list != nullptr && std::all_of(list->begin(), list->end(), isMap) ? list : nullptr;
}
std::optional<Map> flatAt(const Map& tree, std::string_view path) {
  const Value* value = document::valueAt(tree, path);
  if (value == nullptr || value->map() == nullptr) return std::nullopt;
  return document::flattened(*value->map());
}

bool hasSchedule(const Map& tree) {
  const auto group = flatAt(tree, "macos.scheduled_scanning");
  if (!group) return false;
  const Map* time = mapIn(*group, "start_time");
  const Map* frequency = mapIn(*group, "scan_frequency");
  return isTrue(group->find("enabled")) && time != nullptr && isWhole(time->find("hours")) &&
         isWhole(time->find("minutes")) && frequency != nullptr &&
         isWord(frequency->find("frequency"), {"daily", "weekly", "monthly"});
}

bool hasProxy(const std::optional<Map>& group, const char* system, const char* userDefined, const char* address) {
  return group && (isWord(group->find("proxy_type"), {"no_proxy", system}) ||
                   (isWord(group->find("proxy_type"), {userDefined}) && isString(group->find(address))));
}
bool hasVort2(const Map& tree) {
  return hasProxy(flatAt(tree, "macos.vort2"), "system_http_proxy", "user_defined_http_proxy", "proxy_address");
}
bool hasPm(const Map& tree) {
  return flatAt(tree, "windows.policy_manager") &&
         hasProxy(flatAt(tree, "windows.vort2"), "get_from_browser", "user_defined", "user_proxy");
}

// Address objects without a host that the view looks at.
std::size_t rejectedAddresses(const Map& tree) {
  if (!hasPm(tree)) return 0;
  const auto rejected = [](const Map& object) {
    return !isString(object.find("host")) || object.find("host")->string()->empty();
  };
  const auto group = flatAt(tree, "windows.policy_manager");
  const Map* single = mapIn(*group, "override_address");
  std::size_t count = single != nullptr && rejected(*single) ? 1 : 0;
  const Map* selection = mapIn(*group, "proxy_auto_selection");
  const List* list = selection == nullptr ? nullptr : mapsIn(selection->find("addresses"));
  if (list == nullptr) return count;
  for (const Value& object : *list) count += rejected(*object.map()) ? 1U : 0U;
  return count;
}

std::size_t sitesWith(const Map& tree, bool allowed) {
  const List* list = mapsIn(document::valueAt(tree, "common.sites.list"));
  std::size_t count = 0;
  for (const Value& site : *list) {
    const Value* flag = site.map()->find("allowed");
    if (flag != nullptr && flag->boolean() == allowed && isString(site.map()->find("url"))) ++count;
  }
  return count;
}

// ---- the views against it

struct Counts {
  std::array<std::size_t, 7> records{};  // how often each view that may give none gave one
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
  check("schedule", schedule(settings), hasSchedule(tree));
  check("pmProxySettings", pm, hasPm(tree));
  check("vort2ProxySettings", vort2ProxySettings(settings), hasVort2(tree));

  EXPECT_EQ(static_cast<std::size_t>(std::count(written.begin(), written.end(), '\n')), rejectedAddresses(tree));
  if (sites) {
    EXPECT_EQ(sites->whitelist().size(), sitesWith(tree, true));
    EXPECT_EQ(sites->blacklist().size(), sitesWith(tree, false));
  }
  const QLTimeLimits limits = timeLimits(settings);
  EXPECT_EQ(limits.curfew(), curfew(settings));
  EXPECT_EQ(limits.quota(), quota(settings));
  EXPECT_EQ(limits, timeLimits(settings));
  EXPECT_EQ(firewall(settings), firewall(settings));
  for (const auto& [identifier, profile] : firewall(settings).profiles()) EXPECT_EQ(profile.identifier(), identifier);
  EXPECT_EQ(schedule(settings), schedule(settings));
  EXPECT_EQ(contentCategories(settings), contentCategories(settings));
  EXPECT_EQ(vort2ProxySettings(settings), vort2ProxySettings(settings));
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
    const auto interpreted = document::SettingsDocument::interpret(damaged);
    if (!interpreted) return std::nullopt;
    const Map sending = changesDamage.on(values);
    const Map patch = seed % 3 == 0 ? changesDamage.on(values) : Map();
    const Map tree = interpreted->effectiveTree({&sending, &patch});
    // What a damaged settings file may bring back.
    return seed % 4 == 0 ? Damage(seed * 4 + 3, rates[seed / 4 % 5]).on(tree) : tree;
  }

 private:
  Map document_;
};

TEST(PolicyViews, GiveNoneExactlyWhereARecordCannotBeAndNeverFail) {
  constexpr std::uint64_t seeds = 1500;
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
}

}  // namespace
}  // namespace qlczephra::policy
