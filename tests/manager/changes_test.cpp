// Local changes and their upload: what is in effect, in the files and at the service after each event.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/json_literal.h"
#include "tests/support/manager_world.h"

namespace qlczephra::test {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::uint32_t longest = ~0U;

class ChangesTest : public testing::Test {
 protected:
  ManagerWorld world;

  void givenSettings(const std::string& tag = "\"1\"") {
    world.whenServiceAnswers({Answer(200).tag(tag)});
    ASSERT_EQ(world.fetched(), "success");
    seen_ = world.requests().size();
    world.forgetLog();
  }

  // The requests since the last look: "GET", "GET if not T", "PATCH {values}", "PATCH if T {values}".
  std::vector<std::string> sent() {
    std::vector<std::string> texts;
    for (; seen_ < world.requests().size(); ++seen_) {
      const platform::HttpRequest& request = world.requests()[seen_].request;
      std::string text = request.method;
      for (const auto& [name, value] : request.headers) {
        if (name == "If-Match") text += " if " + value;
        if (name == "If-None-Match") text += " if not " + value;
      }
      if (request.body) text += " " + toJson(*mapFromJson(*request.body).find("values"));
      texts.push_back(text);
    }
    return texts;
  }
  std::string stored(const char* path) {
    const auto map = world.storedMap(path);
    return map ? toJson(*map) : "none";
  }
  std::string patchFile() { return stored(ManagerWorld::patchFile); }
  std::string sendingFile() { return stored(ManagerWorld::sendingFile); }

  std::size_t seen_ = 0;
};

TEST_F(ChangesTest, AChangeIsInEffectStoredAndSentWhenTheCallReturns) {
  givenSettings();
  world.manager->setStringValue("common.name", "new");
  EXPECT_EQ(world.manager->getStringValue("common.name"), "new");
  EXPECT_EQ(world.storedMap(ManagerWorld::localFile), world.manager->currentSettings());
  EXPECT_EQ(patchFile(), "none") << "it was handed to the upload";
  EXPECT_EQ(sendingFile(), R"({"common":{"name":"new"}})");
  world.whenServiceAnswers({Answer(200).tag("\"2\"")});
  world.runUntilIdle();
  EXPECT_THAT(sent(), ElementsAre(R"(PATCH if "1" {"common":{"name":"new"}})"));
  EXPECT_EQ(sendingFile(), "none");
  EXPECT_THAT(world.log(), ElementsAre("info Will update common.name setting in zephra",
                                       "info Sending patch settings request to zephra",
                                       HasSubstr("will use User-Agent"), "info Zephra responded with status 200"));
  // The reply's tag serves the next upload, and no fetch: the document that it names was never seen.
  world.manager->setBoolValue("common.on", false);
  world.runUntilIdle();
  world.fetched();
  EXPECT_THAT(sent(), ElementsAre(R"(PATCH if "2" {"common":{"on":false}})", R"(GET if not "1")"));
}

TEST_F(ChangesTest, ChangesDuringAnUploadWaitForTheNextAndTheNewestOfAPathCounts) {
  givenSettings();
  world.whenServiceAlwaysAnswers(Answer(200).delayed(seconds(1)));
  world.manager->setBoolValue("common.on", true);
  world.advance(milliseconds(500));
  world.manager->setSettingValue("common.count", 4);
  world.manager->setObjectValue("common.count", 5);
  EXPECT_EQ(patchFile(), R"({"common":{"count":5}})");
  EXPECT_EQ(sendingFile(), R"({"common":{"on":true}})");
  world.runUntilIdle();
  EXPECT_THAT(sent(), ElementsAre(R"(PATCH if "1" {"common":{"on":true}})", R"(PATCH {"common":{"count":5}})"))
      << "a reply without a tag leaves none";
  EXPECT_EQ(patchFile() + sendingFile(), "nonenone");
  EXPECT_EQ(world.manager->getNumberValue("common.count"), 5);
}

TEST_F(ChangesTest, AWrongTagIsRefreshedUnconditionallyAndTheSameChangesGoAgainAtOnce) {
  givenSettings();
  world.whenServiceAnswers({412, 503, Answer(200).tag("\"9\""), Answer(200).tag("\"10\"")});
  world.givenJitter(0);
  world.manager->setStringValue("common.name", "mine");
  world.runUntilIdle();
  EXPECT_THAT(sent(), ElementsAre(R"(PATCH if "1" {"common":{"name":"mine"}})", "GET", "GET",
                                  R"(PATCH if "9" {"common":{"name":"mine"}})"));
  EXPECT_EQ(world.manager->getStringValue("common.name"), "mine") << "also after the refresh";
  EXPECT_THAT(world.logWith("Will retry patching"), ElementsAre("info Will retry patching settings in 0 seconds"));
}

TEST_F(ChangesTest, ABadRequestIsSentAgainAfterItsOwnBackOffAndEndsAtTheFiftieth) {
  givenSettings();
  world.givenJitter(longest);
  std::vector<Answer> answers;
  for (int i = 0; i < 5; ++i) {
    answers.emplace_back(400);
    answers.emplace_back(304);
  }
  answers.push_back(Answer(200));
  world.whenServiceAnswers(answers);
  world.manager->setStringValue("common.name", "mine");
  world.runUntilIdle();
  EXPECT_THAT(world.logWith("Will retry patching"),
              ElementsAre(HasSubstr(" 0 "), HasSubstr(" 0 "), HasSubstr(" 0 "), HasSubstr(" 1 "), HasSubstr(" 3 ")))
      << "the 304 in between resets the shared state, not this count";
  EXPECT_EQ(sent().size(), 11U);
}

TEST_F(ChangesTest, RefusalsForGoodArePacedAndLoseNothing) {
  givenSettings();
  world.whenServiceAlwaysAnswers(403);
  world.manager->setStringValue("common.name", "first");
  world.advance(minutes(30));
  world.manager->setBoolValue("common.on", true);
  world.advance(minutes(30));
  const auto requests = sent();
  EXPECT_THAT(requests, SizeIs(testing::AllOf(testing::Ge(8U), testing::Le(30U))));
  EXPECT_EQ(sendingFile(), R"({"common":{"name":"first","on":true}})");
  world.whenServiceAlwaysAnswers(200);
  world.advance(hours(2));
  EXPECT_THAT(sent(), ElementsAre(R"(PATCH if "1" {"common":{"name":"first","on":true}})"));
  EXPECT_EQ(patchFile() + sendingFile(), "nonenone");
}

TEST_F(ChangesTest, WhatMayHaveChangedTheServicesMindEndsAPause) {
  struct Case {
    const char* what;
    std::function<void(ManagerWorld&)> act;
  };
  const Case cases[] = {
      {"a fetch", [](ManagerWorld& w) { w.fetch(); }},
      {"clearing the token", [](ManagerWorld& w) { w.manager->clearCCRToken(); }},
      {"a new token", [](ManagerWorld& w) { w.manager->setCcrToken("new"); }},
      {"updateLocalSettings", [](ManagerWorld& w) { w.manager->updateLocalSettings(); }},
      {"a push id", [](ManagerWorld& w) { w.manager->setPNSID("id", [](const ErrorRef&) {}); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    ManagerWorld w;
    w.fetched();
    w.givenJitter(longest);
    w.whenServiceAlwaysAnswers(403);
    w.manager->setStringValue("common.name", "n");
    w.advance(hours(3));
    w.whenServiceAlwaysAnswers(200);
    const std::size_t before = w.requests().size();
    c.act(w);
    w.advance(seconds(5));
    std::size_t patches = 0;
    for (std::size_t i = before; i < w.requests().size(); ++i) {
      patches += w.requests()[i].request.url == ManagerWorld::settingsURL && w.requests()[i].request.method == "PATCH";
    }
    EXPECT_EQ(patches, 1U);
    EXPECT_EQ(w.storedMap(ManagerWorld::sendingFile), std::nullopt);
  }
}

TEST_F(ChangesTest, AnInterruptedUploadIsSentBelowNewerChangesByWhoeverComesFirst) {
  for (const bool writerFirst : {false, true}) {
    ManagerWorld w;
    w.givenFile(ManagerWorld::sendingFile, R"({"common": {"name": "old", "count": 1}})");
    w.givenFile(ManagerWorld::patchFile, R"({"common": {"name": "new"}})");
    if (writerFirst) {
      w.manager->setBoolValue("common.on", true);
    } else {
      w.manager->updateLocalSettings();
    }
    w.runUntilIdle();
    ASSERT_THAT(w.requests(), SizeIs(1));
    EXPECT_EQ(*w.requests()[0].request.body, writerFirst ? R"({"values":{"common":{"count":1,"name":"new","on":true}}})"
                                                         : R"({"values":{"common":{"count":1,"name":"new"}}})");
    EXPECT_THAT(w.world.disk().paths(), IsEmpty());
  }
}

TEST_F(ChangesTest, WhatTheTreeTakesOfAPatchMap) {
  struct Case {
    const char* path;
    Value value;
    const char* patch;  // what is sent all the same
    const char* name;   // common.name afterwards, set to "kept" before
  };
  const Case cases[] = {
      {"common.name", "x", R"({"common":{"name":"x"}})", "x"},
      {"common.unknown", 1, R"({"common":{"unknown":1}})", "kept"},
      {"nowhere.name", 1, R"({"nowhere":{"name":1}})", "kept"},
      {"common", 1, R"({"common":1})", "kept"},
      {"", 1, R"({"":1})", "kept"},
      {"common..name", 1, R"({"common":{"":{"name":1}}})", "kept"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.path);
    ManagerWorld w;
    w.fetched();
    w.manager->setStringValue("common.name", "kept");
    w.runUntilIdle();
    w.manager->setSettingValue(c.path, c.value);
    w.runUntilIdle();
    EXPECT_EQ(*w.requests().back().request.body, R"({"values":)" + std::string(c.patch) + "}");
    EXPECT_EQ(w.manager->getStringValue("common.name"), c.name);
  }
}

TEST_F(ChangesTest, WithoutSettingsAChangeIsKeptAndSentAndNothingElse) {
  world.manager->setStringValue("common.name", "x");
  EXPECT_EQ(world.manager->currentSettings(), std::nullopt);
  world.runUntilIdle();
  EXPECT_THAT(sent(), ElementsAre(R"(PATCH {"common":{"name":"x"}})"));
  EXPECT_THAT(world.world.disk().paths(), IsEmpty());
}

TEST_F(ChangesTest, WithoutAUsablePathAChangeIsRefused) {
  givenSettings();
  for (const auto& path : {std::optional<std::string>(), std::optional<std::string>("/settings/patch")}) {
    world.manager->setPatchFilePath(path);
    const auto before = world.manager->currentSettings();
    world.manager->setStringValue("common.name", "x");
    world.runUntilIdle();
    EXPECT_EQ(world.manager->currentSettings(), before);
  }
  EXPECT_THAT(sent(), IsEmpty());
  EXPECT_THAT(world.logWith("error "),
              ElementsAre(HasSubstr("(not set)"), testing::EndsWith("refused: /settings/patch")));
}

TEST_F(ChangesTest, TheSendingFileStandsBesideThePatchFileUnlessTheDirectoryHasTheEndingToo) {
  struct Case {
    const char *patchFile, *sendingFile;
  } cases[] = {{"/patch.plist", "/patch-sending.plist"},
               {"/other/patch.plist", "/other/patch-sending.plist"},
               {"/a.plist/patch.plist", "/a-sending.plist/patch-sending.plist"}};
  for (const char* directory : {"/", "/other", "/a.plist", "/a-sending.plist"}) {
    world.world.disk().makeDirectory(directory);
  }
  givenSettings();
  for (const auto& [patch, sending] : cases) {
    world.manager->setPatchFilePath(patch);
    world.manager->setStringValue("common.name", "new");
    EXPECT_EQ(stored(sending), R"({"common":{"name":"new"}})") << patch;
    world.whenServiceAnswers({Answer(200).tag("\"2\"")});
    world.runUntilIdle();
  }
}

TEST_F(ChangesTest, AChangeIsDurableWhereTheFolderOfTheSendingFileIsMissing) {
  world.world.disk().makeDirectory("/b.plist");
  givenSettings();
  world.manager->setPatchFilePath("/b.plist/patch.plist");
  world.manager->setStringValue("common.name", "new");
  world.world.end(sim::World::End::powerCut);
  EXPECT_EQ(stored("/b.plist/patch.plist"), R"({"common":{"name":"new"}})");
}

// A token that came before a pause began does not end it.
TEST_F(ChangesTest, TheTokenThatAnUploadWasSentWithDoesNotEndItsPause) {
  givenSettings();
  world.manager->clearCCRToken();
  world.runUntilIdle();
  world.givenJitter(longest);
  world.givenProviderAnswers(nullptr, std::nullopt);
  const std::size_t before = world.provider->asked.size();
  world.manager->setStringValue("common.name", "new");
  world.advance(milliseconds(500));
  EXPECT_EQ(world.provider->asked.size(), before + 1);
}

TEST_F(ChangesTest, WhatTheFormatCannotHoldIsAppliedAndNeitherKeptNorSent) {
  givenSettings();
  world.manager->setSettingValue("common.name", nullptr);
  EXPECT_EQ(world.manager->getSettingValue("common.name"), Value());
  world.runUntilIdle();
  EXPECT_THAT(sent(), IsEmpty());
  EXPECT_EQ(patchFile() + sendingFile(), "nonenone");
}

TEST_F(ChangesTest, ALockThatCannotBeHadIsTriedAgain) {
  givenSettings();
  world.world.disk().lockAnswer = platform::FileStore::Locked::unavailable;
  world.manager->setStringValue("common.name", "mine");
  world.runUntilIdle();
  EXPECT_THAT(sent(), SizeIs(1)) << "without a lock the files are used as they are";
  world.world.disk().lockAnswer = platform::FileStore::Locked::elsewhere;
  world.manager->setStringValue("common.name", "refused");
  EXPECT_EQ(world.manager->getStringValue("common.name"), "mine");
}

TEST_F(ChangesTest, AnotherProcessOnTheSameFilesKeepsThem) {
  givenSettings();
  world.world.disk().lockAnswer = platform::FileStore::Locked::elsewhere;
  world.givenFile(ManagerWorld::patchFile, R"({"common": {"count": 7}})");
  world.manager = world.makeManager();
  world.manager->setLocalFilePath(ManagerWorld::localFile);
  world.manager->setPatchFilePath(ManagerWorld::patchFile);
  world.manager->updateLocalSettings();
  EXPECT_EQ(world.manager->getNumberValue("common.count"), 7) << "reads go on";
  world.manager->setStringValue("common.name", "mine");
  world.runUntilIdle();
  EXPECT_EQ(world.manager->getStringValue("common.name"), "service");
  EXPECT_EQ(patchFile() + sendingFile(), R"({"common":{"count":7}}none)");
  EXPECT_THAT(world.logWith("nothing is sent"), SizeIs(1));
  EXPECT_THAT(world.logWith("change refused"), SizeIs(1));
  EXPECT_THAT(sent(), IsEmpty());
  EXPECT_EQ(world.fetched(), "success");
  world.world.disk().lockAnswer = platform::FileStore::Locked::held;
  seen_ = world.requests().size();
  world.manager->setStringValue("common.name", "mine");
  world.runUntilIdle();
  EXPECT_THAT(sent(), ElementsAre(R"(PATCH {"common":{"count":7,"name":"mine"}})"));
}

TEST_F(ChangesTest, LoadingAgainTakesOverWhatAnotherProcessLeft) {
  givenSettings();
  world.world.disk().lockAnswer = platform::FileStore::Locked::elsewhere;
  world.givenFile(ManagerWorld::patchFile, R"({"common": {"count": 7}})");
  world.givenFile(std::string(ManagerWorld::localFile) + ".new-3", "{}");
  world.manager = world.makeManager();
  world.manager->setLocalFilePath(ManagerWorld::localFile);
  world.manager->setPatchFilePath(ManagerWorld::patchFile);
  world.manager->setCcrToken("t");
  world.manager->updateLocalSettings();
  world.runUntilIdle();
  EXPECT_THAT(sent(), IsEmpty());
  EXPECT_THAT(world.world.disk().paths(), Contains(HasSubstr(".new-")));
  world.world.disk().lockAnswer = platform::FileStore::Locked::held;
  world.manager->updateLocalSettings();
  world.runUntilIdle();
  EXPECT_THAT(sent(), ElementsAre(R"(PATCH {"common":{"count":7}})"));
  EXPECT_THAT(world.world.disk().paths(), Not(Contains(HasSubstr(".new-"))));
}

TEST_F(ChangesTest, AFullDiskCostsNoChange) {
  givenSettings();
  world.whenServiceAlwaysAnswers(Answer(200).delayed(seconds(1)));
  world.world.disk().faults.full = true;
  world.manager->setStringValue("common.name", "a");  // goes out at once, from memory
  world.advance(milliseconds(100));
  world.manager->setStringValue("common.name", "b");
  world.manager->setBoolValue("common.on", true);
  EXPECT_EQ(patchFile() + sendingFile(), "nonenone");
  EXPECT_EQ(world.manager->getStringValue("common.name"), "b");
  EXPECT_THAT(world.logWith("error "), SizeIs(1)) << "once for the outage";
  world.fetch();
  world.advance(milliseconds(100));
  EXPECT_EQ(world.manager->getStringValue("common.name"), "b") << "a fetch does not hide what is in no file";
  world.world.disk().faults.full = false;
  world.manager->setSettingValue("common.count", 7);
  EXPECT_EQ(patchFile(), R"({"common":{"count":7,"name":"b","on":true}})");
  world.runUntilIdle();
  EXPECT_EQ(*world.requests().back().request.body, R"({"values":{"common":{"count":7,"name":"b","on":true}}})");
}

TEST_F(ChangesTest, AChangeThatWasSentFromMemoryAndRefusedDoesNotHideANewerOneInAFile) {
  givenSettings();
  world.whenServiceAlwaysAnswers(Answer(403).delayed(seconds(1)));
  world.world.disk().faults.full = true;
  world.manager->setSettingValue("common.count", 1);
  world.manager->setBoolValue("common.on", true);
  world.advance(milliseconds(500));
  world.world.disk().faults.full = false;
  world.manager->setSettingValue("common.count", 2);
  EXPECT_EQ(patchFile(), R"({"common":{"count":2,"on":true}})");
  world.advance(seconds(1));
  world.whenServiceAlwaysAnswers(200);
  world.runUntilIdle();
  EXPECT_EQ(*world.requests().back().request.body, R"({"values":{"common":{"count":2,"on":true}}})");
  EXPECT_EQ(patchFile() + sendingFile(), "nonenone");
}

TEST_F(ChangesTest, ASendingFileThatCannotBeRemovedIsNotSentAgain) {
  givenSettings();
  bool removable = false;
  world.world.disk().faults.chosen = [&](const sim::DiskCall& call) {
    return !removable && call.operation == sim::DiskCall::Operation::remove ? EROFS : 0;
  };
  world.manager->setSettingValue("common.count", 1);
  world.runUntilIdle();
  world.manager->setBoolValue("common.on", true);
  world.runUntilIdle();
  EXPECT_THAT(sent(), ElementsAre(R"(PATCH if "1" {"common":{"count":1}})", R"(PATCH {"common":{"on":true}})"));
  removable = true;
  world.manager->updateLocalSettings();
  world.runUntilIdle();
  EXPECT_THAT(sent(), IsEmpty());
  EXPECT_EQ(patchFile() + sendingFile(), "nonenone");
}

TEST_F(ChangesTest, ADamagedFileIsSetAsideBeforeAnythingTakesItsPlace) {
  givenSettings();
  for (int round = 1; round <= 6; ++round) {
    world.world.disk().put(ManagerWorld::patchFile, "damaged " + std::to_string(round));
    world.manager->setSettingValue("common.count", round);
    world.runUntilIdle();
  }
  EXPECT_THAT(sent(), SizeIs(6));
  for (int number = 1; number <= 5; ++number) {
    EXPECT_EQ(world.world.disk().content(ManagerWorld::patchFile + std::string(".damaged-") + std::to_string(number)),
              "damaged " + std::to_string(number));
  }
  EXPECT_THAT(world.world.disk().paths(), SizeIs(6)) << "five set aside and the local settings file";
  // One more beside changes that wait already: dropped once, not met again by each upload.
  world.world.disk().put(ManagerWorld::patchFile, "damaged 7");
  world.forgetLog();
  world.manager->updateLocalSettings();
  world.givenFile(ManagerWorld::sendingFile, R"({"common": {"count": 7}})");
  world.manager->updateLocalSettings();
  world.runUntilIdle();
  EXPECT_EQ(patchFile() + sendingFile(), "nonenone");
}

TEST_F(ChangesTest, AfterAPassingReadErrorNothingTakesThePlaceOfAFile) {
  givenSettings();
  world.givenFile(ManagerWorld::patchFile, R"({"common": {"on": true}})");
  bool unreadable = true;
  world.world.disk().faults.chosen = [&](const sim::DiskCall& call) {
    return unreadable && call.operation == sim::DiskCall::Operation::read && call.path == ManagerWorld::patchFile
               ? EMFILE
               : 0;
  };
  world.manager->setStringValue("common.name", "x");
  EXPECT_EQ(world.manager->getStringValue("common.name"), "x");
  world.advance(seconds(30));
  EXPECT_EQ(patchFile(), R"({"common":{"on":true}})");
  EXPECT_THAT(sent(), IsEmpty());
  unreadable = false;
  world.advance(minutes(2));  // the step is tried again by itself
  EXPECT_THAT(sent(), ElementsAre(R"(PATCH if "1" {"common":{"name":"x","on":true}})"));
}

TEST_F(ChangesTest, AValueThatNoFileHoldsDoesNotWaitWithThoseThatTheDiskRefused) {
  givenSettings();
  bool fails = true;
  world.world.disk().faults.chosen = [&](const sim::DiskCall& call) {
    return fails && call.operation == sim::DiskCall::Operation::read && call.path == ManagerWorld::patchFile ? EMFILE
                                                                                                             : 0;
  };
  world.manager->setStringValue("common.name", "control \x01");
  EXPECT_EQ(world.manager->getStringValue("common.name"), "control \x01");
  world.manager->setSettingValue("common.count", 5);
  fails = false;
  world.advance(minutes(2));
  EXPECT_THAT(sent(), ElementsAre(R"(PATCH if "1" {"common":{"count":5}})"));
}

TEST_F(ChangesTest, NamingTheSameFilesAgainKeepsWhatIsPendingInMemory) {
  givenSettings();
  world.whenServiceAlwaysAnswers(403);
  world.world.disk().faults.full = true;
  world.manager->setSettingValue("common.count", 5);
  world.advance(milliseconds(100));
  world.manager->setPatchFilePath(ManagerWorld::patchFile);
  world.world.disk().faults.full = false;
  world.manager->setBoolValue("common.on", true);
  world.whenServiceAlwaysAnswers(200);
  world.manager->updateLocalSettings();
  world.runUntilIdle();
  EXPECT_EQ(sent().back(), R"(PATCH if "1" {"common":{"count":5,"on":true}})");
}

TEST_F(ChangesTest, AManagerThatMovedToOtherFilesDoesNotAnswerForThoseItLeft) {
  givenSettings();
  world.whenServiceAlwaysAnswers(Answer(200).delayed(seconds(5)));
  const auto other = world.makeManager();
  other->setPatchFilePath(ManagerWorld::patchFile);
  other->updateLocalSettings();
  auto sender = world.makeManager();
  sender->setPatchFilePath(ManagerWorld::patchFile);
  sender->setBoolValue("common.on", true);
  world.advance(seconds(1));
  world.manager->setPatchFilePath("/settings/patch-502.plist");
  sender.reset();
  world.runUntilIdle();
  EXPECT_THAT(sent(), SizeIs(2)) << "sent again by the manager that is still there";
  EXPECT_EQ(patchFile() + sendingFile(), "nonenone");
}

TEST_F(ChangesTest, LoadingAnOlderLocalFileDoesNotHideWhatIsPending) {
  givenSettings();
  world.whenServiceAlwaysAnswers(403);
  world.world.disk().faults.chosen = [&](const sim::DiskCall& call) {
    return call.operation == sim::DiskCall::Operation::rename && call.path.find("zephra-501") != std::string::npos
               ? ENOSPC
               : 0;
  };
  world.manager->setStringValue("common.name", "sending");
  world.advance(seconds(1));
  world.manager->setSettingValue("common.count", 5);
  world.manager->updateLocalSettings();
  EXPECT_EQ(world.manager->getStringValue("common.name"), "sending");
  EXPECT_EQ(world.manager->getNumberValue("common.count"), 5);
}

TEST_F(ChangesTest, ALocalFileThatHoldsTheSettingsAlreadyIsNotWrittenAgain) {
  givenSettings();
  int created = 0;
  world.world.disk().faults.chosen = [&](const sim::DiskCall& call) {
    created += call.operation == sim::DiskCall::Operation::create && call.path.find("zephra-501") != std::string::npos;
    return 0;
  };
  world.fetched();
  EXPECT_EQ(created, 0);
  world.world.disk().put(ManagerWorld::localFile, "something else");
  world.fetched();
  EXPECT_EQ(created, 1);
  world.manager->setSettingValue("common.count", 5);
  EXPECT_EQ(created, 2);
  world.manager->setSettingValue("common.count", 5);
  EXPECT_EQ(created, 2);
}

TEST_F(ChangesTest, ManagersOnTheSameFilesShareOneUpload) {
  givenSettings();
  const auto other = world.makeManager();
  other->setPatchFilePath("/settings/./patch-501.plist");
  world.whenServiceAlwaysAnswers(Answer(200).delayed(seconds(1)));
  world.manager->setBoolValue("common.on", true);
  world.advance(milliseconds(10));
  other->setSettingValue("common.count", 5);
  other->updateLocalSettings();
  world.runUntilIdle();
  EXPECT_THAT(sent(), SizeIs(2));
  EXPECT_EQ(world.world.network().mostInFlight("PATCH", ManagerWorld::settingsURL), 1U);
}

// A host that never gives one manager its token must not keep the changes of all from the service.
TEST_F(ChangesTest, AnUploadThatWaitsForItsHostPassesToAnotherManager) {
  for (const bool otherComesLater : {false, true}) {
    ManagerWorld w;
    w.fetched();
    w.manager->clearCCRToken();
    w.runUntilIdle();
    const auto other = w.makeManager();
    const auto join = [&] {
      other->setPatchFilePath(ManagerWorld::patchFile);
      other->updateLocalSettings();
    };
    if (!otherComesLater) join();
    QLCZephraAuthenticationDelegate::CredentialsCallback late;
    w.givenDelegate([&](const auto& callback) {
      late = callback;
      w.givenDelegateAnswers("token");
    });
    const std::size_t before = w.requests().size();
    w.manager->setBoolValue("common.on", true);
    w.advance(milliseconds(9900));
    EXPECT_EQ(w.requests().size(), before);
    w.advance(milliseconds(200));
    if (otherComesLater) join();
    w.advance(seconds(1));
    ASSERT_EQ(w.requests().size(), before + 1) << otherComesLater;
    EXPECT_EQ(w.storedMap(ManagerWorld::sendingFile), std::nullopt);
    late("late", nullptr);
    w.runUntilIdle();
    EXPECT_EQ(w.requests().size(), before + 1) << "the old answer sends nothing";
    w.manager->setBoolValue("common.on", false);
    w.runUntilIdle();
    EXPECT_EQ(w.requests().size(), before + 2);
  }
}

TEST_F(ChangesTest, TheUploadOfAManagerThatIsGoneIsSentAgainOnceItsTransferHasEnded) {
  givenSettings();
  const auto survivor = world.makeManager();
  survivor->setPatchFilePath(ManagerWorld::patchFile);
  survivor->updateLocalSettings();
  world.whenServiceAlwaysAnswers(Answer(200).delayed(seconds(5)));
  world.manager->setBoolValue("common.on", true);
  world.advance(seconds(1));
  world.manager.reset();
  survivor->setSettingValue("common.count", 5);
  world.advance(seconds(2));
  EXPECT_THAT(sent(), SizeIs(1)) << "its transfer still counts";
  world.runUntilIdle();
  EXPECT_THAT(sent(), ElementsAre(R"(PATCH {"common":{"count":5,"on":true}})"));
  EXPECT_EQ(world.world.network().mostInFlight("PATCH", ManagerWorld::settingsURL), 1U);
  EXPECT_EQ(patchFile() + sendingFile(), "nonenone");
}

TEST_F(ChangesTest, AManagerThatGoesWhileItsUploadWaitsGivesTheClaimBackAtOnce) {
  givenSettings();
  world.whenServiceAlwaysAnswers(429);
  world.manager->setBoolValue("common.on", true);
  world.advance(seconds(1));
  world.manager.reset();
  world.whenServiceAlwaysAnswers(200);
  const auto next = world.makeManager();
  next->setPatchFilePath(ManagerWorld::patchFile);
  world.advance(seconds(1));
  next->updateLocalSettings();
  world.advance(seconds(1));
  EXPECT_THAT(sent(), ElementsAre(R"(PATCH if "1" {"common":{"on":true}})", R"(PATCH {"common":{"on":true}})"));
}

TEST_F(ChangesTest, AFetchThatWentOutBeforeAConfirmationPutsNothingOldBack) {
  givenSettings();
  world.whenServiceAnswers({Answer(200).tag("\"old\"").delayed(seconds(5)), Answer(200).tag("\"new\"")});
  world.fetch();
  world.advance(seconds(1));
  world.manager->setStringValue("common.name", "mine");
  world.advance(seconds(1));
  EXPECT_EQ(patchFile() + sendingFile(), "nonenone") << "confirmed";
  world.runUntilIdle();
  EXPECT_EQ(world.manager->getStringValue("common.name"), "mine");
  world.manager->setBoolValue("common.on", false);
  world.runUntilIdle();
  world.fetched();
  EXPECT_THAT(sent(), ElementsAre(R"(GET if not "1")", R"(PATCH if "1" {"common":{"name":"mine"}})",
                                  R"(PATCH if "old" {"common":{"on":false}})", "GET"));
}

TEST_F(ChangesTest, ANotModifiedThatSpeaksOfReplacedSettingsLeadsToAWholeFetch) {
  givenSettings();
  world.whenServiceAnswers({Answer(304).delayed(seconds(2)), Answer(200).tag("\"1\"")});
  Call& call = world.fetch();
  world.advance(seconds(1));
  world.manager->setLocalFilePath("/settings/missing.plist");
  world.manager->updateLocalSettings();
  EXPECT_EQ(world.manager->currentSettings(), std::nullopt);
  world.runUntilIdle();
  EXPECT_THAT(sent(), ElementsAre(R"(GET if not "1")", "GET"));
  EXPECT_EQ(call.result(), "success");
  EXPECT_EQ(call.completions, 1);
  EXPECT_EQ(world.manager->getStringValue("common.name"), "service");
}

TEST_F(ChangesTest, TheLastOfManyStatusesDecidesAboutAPushId) {
  struct Case {
    std::vector<Answer> answers;
    const char* result;
    std::size_t requests;
    std::vector<std::string> delays;
  };
  const Case cases[] = {
      {{Answer(200).tag("\"push\"")}, "success", 1, {}},
      {{304}, "success", 1, {}},
      {{401}, "unauthorized", 1, {}},
      {{403}, "forbidden", 1, {}},
      {{404}, "notFound", 1, {}},
      {{412}, "badRequest", 1, {}},
      {{400}, "badRequest", 1, {}},
      {{422}, "unprocessableEntity", 1, {}},
      {{302}, "unexpectedResponse", 1, {}},
      {{503, Answer::lost(), 429, 200}, "success", 4, {"0", "0", "7200"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.answers[0].reply.status);
    ManagerWorld w;
    w.givenJitter(longest);
    w.fetched();
    w.forgetLog();
    const std::size_t before = w.requests().size();
    w.whenServiceAnswers(c.answers);
    Call& call = w.newCall();
    w.manager->setPNSID("", w.recording(call));
    w.runUntilIdle();
    EXPECT_EQ(call.result(), c.result);
    EXPECT_EQ(call.completions, 1);
    EXPECT_EQ(w.requests().size() - before, c.requests);
    const platform::HttpRequest& request = w.requests().back().request;
    EXPECT_EQ(request.url, std::string(ManagerWorld::base) + "/zephra/client-api/v3/clients/me/products/corlane/node");
    EXPECT_EQ(request.method + " " + *request.body, R"(PATCH {"pns_id":""})");
    EXPECT_EQ(w.sentHeader("If-Match"), std::nullopt);
    std::vector<std::string> announced;
    for (const std::string& delay : c.delays) {
      announced.push_back("info Will retry setting new PNS id in " + delay + " seconds");
    }
    EXPECT_EQ(w.logWith("Will retry"), announced);
    EXPECT_THAT(w.logWith("Firing"), IsEmpty());
  }
}

}  // namespace
}  // namespace qlczephra::test
