// The local settings file: what it holds, what loading makes of a bad one, and what a failing disk leaves of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "tests/support/json_literal.h"
#include "tests/support/manager_world.h"

namespace qlczephra::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A document whose common.name is `name`; `extra` stands among the values of the dynamic group common.any.
std::string documentNamed(const std::string& name, const std::string& extra = "{}") {
  return R"({"data": {"eff_schema": {"common": {"properties": {
             "name": {"type": "string", "default": ""},
             "any": {"properties": {}, "dynamic": true}}}, "macos": {}},
           "values": {"common": {"name": ")" +
         name + R"(", "any": )" + extra + "}}}}";
}

TEST(LocalSettings, WhatWasStoredIsWhatIsLoaded) {
  ManagerWorld world;
  world.givenDocument(documentNamed("x", R"({"int": 2, "real": 2.0, "fraction": 0.1, "true": true, "big":
      18446744073709551615, "least": -9223372036854775808, "list": [1, [true, "a"], {}], "map": {"": {"v": 1}},
      "blanks": " a \t\r\n b ", "xml": "<&>\"']]>", "wide": "\ud83d\ude00"})"));
  ASSERT_EQ(world.fetched(), "success");
  const auto other = world.makeManager();
  other->setLocalFilePath(ManagerWorld::localFile);
  EXPECT_EQ(other->currentSettings(), std::nullopt) << "nothing is read before the host asks for it";
  other->updateLocalSettings();
  EXPECT_EQ(other->currentSettings(), world.manager->currentSettings());
  EXPECT_EQ(other->getStringValue("common.name"), "x");
  // A fetch starts from nothing else than the service, so it is unconditional and gives the same.
  world.whenServiceAnswers({Answer(200).tag("\"1\"")});
  EXPECT_EQ(world.fetched(), "success");
  EXPECT_EQ(other->currentSettings(), world.manager->currentSettings());
  EXPECT_THAT(world.world.disk().paths(), ElementsAre(ManagerWorld::localFile)) << "nothing is left beside it";
}

TEST(LocalSettings, WhatIsNoMapLoadsAsNone) {
  const std::optional<std::string> contents[] = {
      std::nullopt,
      "",
      "{}",
      std::string("\0\0\0", 3),
      R"(<plist version="1.0"><array/></plist>)",
      R"(<plist version="1.0"><dict><key>a</key><true/></plist>)",
  };
  for (const auto& content : contents) {
    ManagerWorld world;
    world.fetched();
    ASSERT_NE(world.manager->currentSettings(), std::nullopt);
    if (content) {
      world.world.disk().put(ManagerWorld::localFile, *content);
    } else {
      world.manager->setLocalFilePath("/settings/missing.plist");
    }
    world.forgetLog();
    world.manager->updateLocalSettings();
    EXPECT_EQ(world.manager->currentSettings(), std::nullopt) << content.value_or("no file");
    EXPECT_THAT(world.log(), IsEmpty());
    EXPECT_EQ(world.world.disk().content(world.manager->localFilePath().value()), content);
  }
  ManagerWorld world;
  world.fetched();
  world.world.disk().faults.probability = 1;
  world.manager->updateLocalSettings();
  EXPECT_EQ(world.manager->currentSettings(), std::nullopt) << "a file that cannot be read now";
}

TEST(LocalSettings, WhatCannotBeStoredLeavesTheOldFile) {
  using Given = std::function<void(ManagerWorld&)>;
  const Given cases[] = {
      [](ManagerWorld& w) { w.givenDocument(documentNamed("new", R"({"n": null})")); },
      [](ManagerWorld& w) { w.givenDocument(documentNamed("new", R"({"n": [{"\u0001": 1}]})")); },
      [](ManagerWorld& w) { w.givenDocument(documentNamed("new", R"({"n": "\u0000"})")); },
      [](ManagerWorld& w) { w.world.disk().faults.full = true; },
      [](ManagerWorld& w) { w.world.disk().faults.probability = 1; },
  };
  for (const Given& given : cases) {
    ManagerWorld world;
    world.givenDocument(documentNamed("old"));
    world.fetched();
    const auto before = world.world.disk().content(ManagerWorld::localFile);
    world.givenDocument(documentNamed("new"));
    given(world);
    world.forgetLog();
    EXPECT_EQ(world.fetched(), "success");
    EXPECT_EQ(world.manager->getStringValue("common.name"), "new") << "in use all the same";
    EXPECT_EQ(world.world.disk().content(ManagerWorld::localFile), before);
    EXPECT_THAT(world.world.disk().paths(), ElementsAre(ManagerWorld::localFile));
    EXPECT_THAT(world.logWith("error"), IsEmpty());
  }
}

// Each call of the disk in turn fails, until a run goes through untouched.
TEST(LocalSettings, AnyFailingCallLeavesOneWholeFile) {
  std::set<std::string> names;
  bool untouched = false;
  for (std::uint64_t failing = 1; !untouched; ++failing) {
    SCOPED_TRACE(failing);
    ASSERT_LT(failing, 100U);
    ManagerWorld world;
    world.givenDocument(documentNamed("old"));
    world.fetched();
    world.givenDocument(documentNamed("new"));
    const std::uint64_t number = world.world.disk().calls() + failing;
    world.world.disk().faults.numbered[number] = EIO;
    EXPECT_EQ(world.fetched(), "success");
    untouched = world.world.disk().calls() < number;
    world.world.disk().faults.numbered.clear();
    EXPECT_EQ(world.manager->getStringValue("common.name"), "new");
    EXPECT_EQ(world.world.disk().openHandles(), 0U);
    EXPECT_THAT(world.world.disk().paths(), ElementsAre(ManagerWorld::localFile));
    world.manager->updateLocalSettings();
    names.insert(world.manager->getStringValue("common.name").value_or("none"));
    EXPECT_TRUE(!untouched || world.manager->getStringValue("common.name") == "new");
  }
  EXPECT_THAT(names, ElementsAre("new", "old"));
}

// The power goes in place of each call in turn, and after the last, with several outcomes for what was not durable.
TEST(LocalSettings, APowerCutLeavesOneWholeFile) {
  std::set<std::string> names;
  bool untouched = false;
  for (std::uint64_t call = 1; !untouched; ++call) {
    for (std::uint64_t seed = 0; seed < 30; ++seed) {
      SCOPED_TRACE(testing::Message() << "call " << call << ", seed " << seed);
      ManagerWorld world(seed);
      world.givenFile(ManagerWorld::localFile, R"({"common": {"v": {"name": {"v": "old"}}}})");
      world.givenDocument(documentNamed("new"));
      world.world.endAtDiskCall(call, sim::World::End::powerCut);
      const Call& fetch = world.fetch();
      world.runUntilIdle();
      untouched = !world.world.hasEnded();
      EXPECT_EQ(fetch.completions, untouched ? 1 : 0) << "a process that is gone completes nothing";
      world.world.end(sim::World::End::powerCut);
      const auto next = world.world.restart();
      QLCZephraManager manager(world.appInfo, world.provider, world.delegate, *next);
      manager.setLocalFilePath(ManagerWorld::localFile);
      manager.updateLocalSettings();
      names.insert(manager.getStringValue("common.name").value_or("none"));
    }
  }
  EXPECT_THAT(names, ElementsAre("new", "old"));
}

TEST(LocalSettings, PathsOfAUserId) {
  const std::string directory = "/usr/local/quellin/corlane/sysconfig/settings/";
  struct Case {
    std::int64_t uid;
    const char* name;
  };
  for (const auto& [uid, name] : {Case{501, "501"}, Case{0, "0"}, Case{1, "0"}, Case{2, "2"}, Case{-2, "-2"},
                                  Case{std::numeric_limits<std::int64_t>::min(), "-9223372036854775808"}}) {
    EXPECT_EQ(QLCZephraManager::localSettingsFileForUid(uid), directory + "zephra-" + name + ".plist");
    EXPECT_EQ(QLCZephraManager::patchSettingsFileForUid(uid), directory + "patch-" + name + ".plist");
  }
}

TEST(LocalSettings, NewManagerHoldsNothingAndTouchesNothing) {
  ManagerWorld world;
  const auto fresh = world.makeManager();
  EXPECT_EQ(fresh->ccrToken(), std::nullopt);
  EXPECT_EQ(fresh->localFilePath(), std::nullopt);
  EXPECT_EQ(fresh->patchFilePath(), std::nullopt);
  EXPECT_EQ(fresh->currentSettings(), std::nullopt);
  EXPECT_EQ(fresh->getSettingValue("common"), std::nullopt);
  EXPECT_EQ(fresh->getSettingIsReadonly("common"), std::nullopt);
  EXPECT_EQ(fresh->getProperties("common"), std::nullopt);
  EXPECT_EQ(world.world.disk().calls(), 0U);
  EXPECT_THROW(QLCZephraManager(nullptr, world.provider, world.delegate, world.world), std::invalid_argument);
}

TEST(LocalSettings, SettingsSetByTheHostAreReadAndNotStored) {
  ManagerWorld world;
  world.manager->setCurrentSettings(mapFromJson(R"({"common": {"v": {"a": {"v": 2.5}, "l": {"v": [1]}}}})"));
  EXPECT_EQ(world.manager->getSettingValue("common.a"), Value(2.5));
  EXPECT_EQ(world.manager->getNumberValue("common.a"), std::nullopt);
  EXPECT_THAT(world.manager->getProperties("common").value(), ElementsAre("a", "l"));
  EXPECT_EQ(world.manager->getFlattenedDict("common"), mapFromJson(R"({"a": 2.5, "l": [1]})"));
  EXPECT_EQ(world.manager->getFlattenedDict("common.a"), std::nullopt);
  EXPECT_THAT(world.world.disk().paths(), IsEmpty());

  Value deep(1);
  for (int i = 0; i < 3000; ++i) deep = Map{{"v", deep}};
  world.manager->setCurrentSettings(*deep.map());
  EXPECT_EQ(world.manager->getSettingValue("common.a"), Value(2.5)) << "too deep to be stored: refused";
  world.manager->setCurrentSettings(std::nullopt);
  EXPECT_EQ(world.manager->currentSettings(), std::nullopt);
}

}  // namespace
}  // namespace qlczephra::test
