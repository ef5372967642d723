// The fetch as a whole: guard, headers, log, applying and storing the document, callbacks that come back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/json_literal.h"
#include "tests/support/manager_world.h"
#include "tests/support/secret_token.h"

namespace qlczephra::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* emptyMacosTree = R"("macos": {"ro": false, "v": {}})";

// The tree that ManagerWorld::document gives.
Map documentTree() {
  return mapFromJson(std::string(R"({"common": {"v": {"name": {"v": "service"}, "count": {"ro": false, "v": 1},
                                     "on": {"ro": false, "v": false}}}, )") +
                     emptyMacosTree + "}");
}

TEST(Fetch, TellsItsStoryInTheLogAndSendsOneRequest) {
  ManagerWorld world;
  world.whenServiceAnswers({Answer(200).tag("\"1\"")});
  Call& call = world.fetch();
  EXPECT_EQ(call.result(), "open") << "nothing completes before the call returns";
  world.runUntilIdle();

  EXPECT_EQ(call.result(), "success");
  EXPECT_EQ(call.completions, 1);
  EXPECT_EQ(call.lane, sim::SimNetwork::replyLane);
  EXPECT_THAT(world.log(), ElementsAre("info Will fetch new zephra settings",
                                       "info No CCR token, asking for the new one",    //
                                       "debug Received CCR token",                     //
                                       "info Sending get settings request to zephra",  //
                                       "default QLCNetworkRequest will use User-Agent: Corlane/1.0",
                                       "info Zephra responded with status 200",  //
                                       "info Zephra settings successfully fetched"));
  for (const auto& record : world.world.logged().records()) {
    const bool managers = record.destination == LogDestination::manager;
    EXPECT_EQ(record.subsystem, managers ? "com.quellin.corlane" : "") << record.message;
    EXPECT_EQ(record.category, managers ? "zephra_requests" : "") << record.message;
  }

  ASSERT_THAT(world.requests(), SizeIs(1));
  const platform::HttpRequest& request = world.requests()[0].request;
  EXPECT_EQ(request.method, "GET");
  EXPECT_EQ(request.url, ManagerWorld::settingsURL);
  EXPECT_EQ(request.body, std::nullopt);
  EXPECT_EQ(request.longestWait, seconds(10));
  EXPECT_THAT(request.headers,
              testing::UnorderedElementsAre(testing::Pair("Authorization", std::string("Bearer ") + secretToken),
                                            testing::Pair("Content-Type", "application/json"),
                                            testing::Pair("User-Agent", "Corlane/1.0")));
  EXPECT_THAT(world.provider->asked, ElementsAre(1U));
  EXPECT_EQ(world.manager->currentSettings(), documentTree());
  EXPECT_EQ(world.storedMap(ManagerWorld::localFile), documentTree());
}

// "If-None-Match" of the fetch after a first one that ended with `answers` (or after `then`).
TEST(Fetch, ConditionIsTheTagOfTheDocumentInUse) {
  using Then = std::function<void(ManagerWorld&)>;
  struct Case {
    const char* name;
    std::vector<Answer> answers;  // one fetch for each
    std::optional<std::string> condition;
    Then then;
  };
  const std::string umlaut = "\"\xC3\xBC , x\"";
  const Case cases[] = {
      {"no fetch before", {}, std::nullopt, {}},
      {"strong", {Answer(200).tag("\"a\"")}, "\"a\"", {}},
      {"weak, byte for byte", {Answer(200).tag("W/\"a\"")}, "W/\"a\"", {}},
      {"without quotes", {Answer(200).tag("a b")}, "a b", {}},
      {"beyond ASCII", {Answer(200).tag(umlaut)}, umlaut, {}},
      {"newest wins", {Answer(200).tag("\"a\""), Answer(201).tag("\"b\"")}, "\"b\"", {}},
      {"a reply without tag clears", {Answer(200).tag("\"a\""), Answer(200)}, std::nullopt, {}},
      {"an empty tag clears", {Answer(200).tag("\"a\""), Answer(200).tag("")}, std::nullopt, {}},
      {"a tag that cannot be sent clears", {Answer(200).tag("\"a\""), Answer(200).tag("\"b\x01\"")}, std::nullopt, {}},
      {"a tag with a line break clears", {Answer(200).tag("\"a\""), Answer(200).tag("b\r\nX: y")}, std::nullopt, {}},
      {"304 keeps", {Answer(200).tag("\"a\""), Answer(304).tag("\"b\"")}, "\"a\"", {}},
      {"no JSON object keeps", {Answer(200).tag("\"a\""), Answer(200).tag("\"b\"").body("[]")}, "\"a\"", {}},
      {"an invalid document keeps", {Answer(200).tag("\"a\""), Answer(200).tag("\"b\"").body("{}")}, "\"a\"", {}},
      {"a broken body keeps", {Answer(200).tag("\"a\""), Answer::brokenAfter(200).tag("\"b\"")}, "\"a\"", {}},
      {"412 keeps", {Answer(200).tag("\"a\""), Answer(412).tag("\"b\"")}, "\"a\"", {}},
      {"403 keeps", {Answer(200).tag("\"a\""), Answer(403).tag("\"b\"")}, "\"a\"", {}},
      {"updateLocalSettings",
       {Answer(200).tag("\"a\"")},
       std::nullopt,
       [](ManagerWorld& w) { w.manager->updateLocalSettings(); }},
      {"setCurrentSettings",
       {Answer(200).tag("\"a\"")},
       std::nullopt,
       [](ManagerWorld& w) { w.manager->setCurrentSettings(Map()); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ManagerWorld world;
    world.whenServiceAnswers(c.answers);
    for (std::size_t i = 0; i < c.answers.size(); ++i) world.fetched();
    if (c.then) c.then(world);
    world.whenServiceAnswers({503});  // the repetition carries the condition too
    world.fetched();
    ASSERT_THAT(world.requests(), SizeIs(c.answers.size() + 2));
    for (const auto& sent : {world.requests().end()[-1], world.requests().end()[-2]}) {
      EXPECT_EQ(service::findHeader(sent.request.headers, "If-None-Match"), c.condition);
    }
  }
}

// A server may refuse a request for the size of its fields, and that of a tag is its own choice.
TEST(Fetch, AHugeTagIsNotSentBackAndOneThatIsRefusedIsLeftOut) {
  ManagerWorld world;
  world.whenServiceAnswers(
      {Answer(200).tag('"' + std::string(1023, 'x') + '"'), Answer(200).tag("\"small\""), 431, 200});
  world.fetched();
  world.fetched();
  EXPECT_EQ(world.sentHeader("If-None-Match"), std::nullopt);
  EXPECT_EQ(world.fetched(), "success");
  EXPECT_EQ(world.requests().size(), 4U);
  EXPECT_THAT(world.requests()[2].request.headers, testing::Contains(testing::Pair("If-None-Match", "\"small\"")));
  EXPECT_EQ(world.sentHeader("If-None-Match"), std::nullopt);
}

TEST(Fetch, RepliesThatChangeNothing) {
  struct Case {
    Answer answer;
    const char* result;
  };
  const Case cases[] = {
      {Answer(304), "success"},
      {Answer(200).body(""), "success"},
      {Answer(200).body("[1]"), "success"},
      {Answer(200).body("{\"data\""), "success"},
      {Answer::brokenAfter(200), "success"},
      {Answer(200).body(std::string(600, '[') + std::string(600, ']')), "success"},
      {Answer(200).body("{}"), "invalidSettings"},
      {Answer(200).body(R"({"data": {"eff_schema": {"common": {}, "windows": {}}}})"), "invalidSettings"},
      {Answer(403), "forbidden"},
  };
  for (const Case& c : cases) {
    ManagerWorld world;
    ASSERT_EQ(world.fetched(), "success");
    const auto fileBefore = world.world.disk().content(ManagerWorld::localFile);
    const auto callsBefore = world.world.disk().calls();
    world.whenServiceAnswers({c.answer});
    EXPECT_EQ(world.fetched(), c.result) << c.answer.reply.status << c.answer.reply.body;
    EXPECT_EQ(world.manager->currentSettings(), documentTree());
    EXPECT_EQ(world.world.disk().content(ManagerWorld::localFile), fileBefore);
    EXPECT_EQ(world.world.disk().calls(), callsBefore);
  }
}

TEST(Fetch, ErrorsAreLoggedWithTheirText) {
  ManagerWorld world;
  world.whenServiceAnswers({Answer(200).body("{}"), 300});
  world.fetched();
  EXPECT_THAT(world.logWith("Failed"),
              ElementsAre("error Failed to fetch zephra settings with error: com.quellin.qlczephra error 3"));
  world.forgetLog();
  world.fetched();
  EXPECT_THAT(world.logWith("Failed"), ElementsAre("error Failed to fetch zephra settings with error: "
                                                   "com.quellin.qlczephra error 9: Bad zephra response: code - 300"));
}

TEST(Fetch, OnlyOneAtATime) {
  ManagerWorld world;
  world.whenServiceAnswers({Answer(503), Answer(200).delayed(seconds(3))});
  Call& first = world.fetch();
  // Before anything ran, while it waits for the repetition, and while the repetition is under way.
  for (const auto wait : {milliseconds(0), milliseconds(3), milliseconds(1000)}) {
    world.advance(wait);
    world.forgetLog();
    Call& refused = world.fetch();
    EXPECT_EQ(refused.result(), "fetchInProgress") << "before the call returns";
    EXPECT_EQ(refused.lane, "");
    EXPECT_THAT(world.log(), ElementsAre("info Will fetch new zephra settings",
                                         "info There is already on ongoing settings fetching"));
  }
  EXPECT_EQ(first.result(), "open");
  world.runUntilIdle();
  EXPECT_EQ(first.result(), "success");
  EXPECT_EQ(first.completions, 1);
  EXPECT_EQ(world.fetched(), "success");
  EXPECT_THAT(world.requests(), SizeIs(3));
}

TEST(Fetch, CompletionMayFetchAgainReadAndSetPaths) {
  ManagerWorld world;
  Call& second = world.newCall();
  Call& first = world.newCall();
  std::optional<std::string> read;
  world.manager->fetchRemoteSettings(world.recording(first, [&] {
    read = world.manager->getStringValue("common.name");
    world.manager->updateLocalSettings();
    world.manager->setPatchFilePath(std::nullopt);
    world.manager->clearCCRToken();
    world.manager->fetchRemoteSettings(world.recording(second));
  }));
  world.runUntilIdle();
  EXPECT_EQ(read, "service");
  EXPECT_EQ(first.result(), "success");
  EXPECT_EQ(second.result(), "success");
  EXPECT_EQ(world.delegate->asked, 2);
}

TEST(Fetch, CompletionThatThrowsEndsTheFetch) {
  ManagerWorld world;
  world.manager->fetchRemoteSettings([](const ErrorRef&) { throw std::runtime_error("secret"); });
  world.runUntilIdle();
  EXPECT_THAT(world.logWith("a fetch completion threw"), SizeIs(1));
  EXPECT_THAT(world.logWith("secret"), IsEmpty());
  EXPECT_EQ(world.fetched(), "success");
}

TEST(Fetch, WithoutLocalPathTheSettingsAreUsedAndNotStored) {
  ManagerWorld world;
  world.manager->setLocalFilePath(std::nullopt);
  EXPECT_EQ(world.fetched(), "success");
  EXPECT_EQ(world.manager->currentSettings(), documentTree());
  EXPECT_THAT(world.logWith("path"), ElementsAre("process Error: Local file path not set"));
  EXPECT_THAT(world.world.disk().paths(), IsEmpty());

  world.forgetLog();
  world.manager->updateLocalSettings();
  EXPECT_EQ(world.manager->currentSettings(), std::nullopt);
  EXPECT_THAT(world.log(), ElementsAre("process QLCZephraManager error: Local file path not set"));
}

TEST(Fetch, PendingChangesLieOverTheDocument) {
  struct Case {
    std::optional<std::string> patchPath;
    const char* sending;
    const char* patch;
    const char* name;
    int count;
  };
  const Case cases[] = {
      {ManagerWorld::patchFile, R"({"common": {"name": "sending", "count": 7}})", R"({"common": {"name": "patch"}})",
       "patch", 7},
      {ManagerWorld::patchFile, R"({"macos": {"name": "sending"}})", R"({"common": 5})", "service", 1},
      {ManagerWorld::patchFile, "[]", R"({"common": {"count": 9}})", "service", 9},
      {"/settings/../settings/./patch-501.plist", "{}", R"({"common": {"name": "patch"}})", "patch", 1},
      {std::nullopt, R"({"common": {"name": "sending"}})", R"({"common": {"name": "patch"}})", "service", 1},
      {"/settings/patch-501", R"({"common": {"name": "sending"}})", R"({"common": {"name": "patch"}})", "service", 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.sending);
    ManagerWorld world;
    world.manager->setPatchFilePath(c.patchPath);
    world.givenFile(ManagerWorld::sendingFile, c.sending);
    world.givenFile(ManagerWorld::patchFile, c.patch);
    world.givenFile("/settings/patch-501", c.patch);
    EXPECT_EQ(world.fetched(), "success");
    EXPECT_EQ(world.manager->getStringValue("common.name"), c.name);
    EXPECT_EQ(world.manager->getNumberValue("common.count"), c.count);
  }
  ManagerWorld world;
  world.world.disk().put(ManagerWorld::patchFile, "no property list");
  EXPECT_EQ(world.fetched(), "success");
  EXPECT_EQ(world.manager->getStringValue("common.name"), "service");
}

TEST(Fetch, TwoManagersKnowNothingOfEachOther) {
  ManagerWorld world;
  const auto other = world.makeManager();
  other->setLocalFilePath("/settings/zephra-502.plist");
  Call& call = world.newCall();
  world.whenServiceAnswers({Answer(200).tag("\"a\""), Answer(200).tag("\"b\"")});
  world.fetch();
  other->fetchRemoteSettings(world.recording(call));
  world.runUntilIdle();
  EXPECT_EQ(call.result(), "success");
  EXPECT_EQ(world.delegate->asked, 2) << "each asks for its own token";
  world.manager->setCcrToken("mine");
  EXPECT_EQ(other->ccrToken(), secretToken);
  other->updateLocalSettings();
  world.fetched();
  EXPECT_NE(world.sentHeader("If-None-Match"), std::nullopt);
  EXPECT_EQ(world.storedMap("/settings/zephra-502.plist"), documentTree());
}

}  // namespace
}  // namespace qlczephra::test
