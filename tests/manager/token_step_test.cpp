// Where the token comes from, and what the host's delegate and URL provider can do to a call.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/manager_world.h"
#include "tests/support/secret_token.h"

namespace qlczephra::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* requestQueue = "com.quellin.qlczephra.requests-queue";

struct HostError : Error {
  HostError() : Error("com.host", 42, "of the host") {}
};

TEST(TokenStep, WhatTheDelegateAnswersDecides) {
  using Callback = QLCZephraAuthenticationDelegate::CredentialsCallback;
  const ErrorRef error = std::make_shared<HostError>();
  struct Case {
    const char* name;
    std::function<void(ManagerWorld&, Callback)> answer;
    const char* result;
    const char* bearer;  // of the request; null for no request
  };
  const Case cases[] = {
      {"token", [&](auto&, auto callback) { callback("T", nullptr); }, "success", "Bearer T"},
      {"empty token", [&](auto&, auto callback) { callback("", nullptr); }, "success", "Bearer "},
      {"error", [&](auto&, auto callback) { callback(std::nullopt, error); }, "com.host 42", nullptr},
      {"both", [&](auto&, auto callback) { callback("T", error); }, "com.host 42", nullptr},
      {"neither", [&](auto&, auto callback) { callback(std::nullopt, nullptr); }, "unauthorized", nullptr},
      {"nothing", [&](auto&, auto) {}, "open", nullptr},
      {"throws", [&](auto&, auto) { throw std::runtime_error("host"); }, "open", nullptr},
      {"throws no exception object", [&](auto&, auto) { throw 5; }, "open", nullptr},
      {"answers and throws",
       [&](auto&, auto callback) {
         callback("T", nullptr);
         throw std::runtime_error("host");
       },
       "success", "Bearer T"},
      {"late", [&](auto& world, auto callback) { world.later(seconds(3600), [callback] { callback("T", nullptr); }); },
       "success", "Bearer T"},
      {"twice",
       [&](auto&, auto callback) {
         callback("T", nullptr);
         callback("U", nullptr);
       },
       "success", "Bearer T"},
      {"error after the token, from a copy and late",
       [&](auto& world, auto callback) {
         world.later(seconds(60), [callback, error] { callback(std::nullopt, error); });
         callback("T", nullptr);
       },
       "success", "Bearer T"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ManagerWorld world;
    world.givenDelegate([&](auto callback) { c.answer(world, std::move(callback)); });
    Call& call = world.fetch();
    world.runUntilIdle();
    const bool hasToken = c.bearer != nullptr;
    const bool isOpen = call.completions == 0;
    EXPECT_EQ(call.result(), c.result);
    EXPECT_LE(call.completions, 1);
    EXPECT_THAT(world.requests(), SizeIs(hasToken ? 1 : 0));
    EXPECT_EQ(world.sentHeader("Authorization").value_or("none"), hasToken ? c.bearer : "none");
    EXPECT_EQ(world.manager->ccrToken().has_value(), hasToken);
    EXPECT_THAT(world.logWith("info No CCR token, asking for the new one"), SizeIs(1));
    EXPECT_THAT(world.logWith("debug Received CCR token"), SizeIs(hasToken ? 1 : 0));
    EXPECT_THAT(world.logWith("error No CCR token provided"), SizeIs(hasToken || isOpen ? 0 : 1));
    EXPECT_THAT(world.logWith("Failed to fetch"), IsEmpty()) << "the fetch says nothing of a missing token";
    EXPECT_EQ(world.logWith("threw an exception").size(), std::string(c.name).find("throws") != std::string::npos);
    EXPECT_TRUE(hasToken || isOpen || call.lane == requestQueue) << call.lane;
    EXPECT_TRUE(std::string(c.result) != "com.host 42" || call.error == error) << "the very object";
    // An open call keeps the guard; an ended one does not.
    world.givenDelegateAnswers("T");
    EXPECT_EQ(world.fetched(), isOpen ? "fetchInProgress" : "success");
  }
}

TEST(TokenStep, WhatTheProviderAnswersDecides) {
  using Callback = QLCServicesURLsProviderProtocol::URLCallback;
  const ErrorRef error = std::make_shared<HostError>();
  struct Case {
    const char* name;
    std::function<void(ManagerWorld&, Callback)> answer;
    const char* result;
    std::size_t requests;
  };
  const Case cases[] = {
      {"URL", [&](auto&, auto callback) { callback(nullptr, ManagerWorld::base); }, "success", 1},
      {"URL and error", [&](auto&, auto callback) { callback(error, ManagerWorld::base); }, "success", 1},
      {"error", [&](auto&, auto callback) { callback(error, std::nullopt); }, "com.host 42", 0},
      {"neither", [&](auto&, auto callback) { callback(nullptr, std::nullopt); }, "noServiceURL", 0},
      {"nothing", [&](auto&, auto) {}, "open", 0},
      {"throws", [&](auto&, auto) { throw std::runtime_error("host"); }, "open", 0},
      {"late",
       [&](auto& world, auto callback) { world.later(seconds(60), [=] { callback(nullptr, ManagerWorld::base); }); },
       "success", 1},
      {"late error", [&](auto& world, auto callback) { world.later(seconds(60), [=] { callback(error, {}); }); },
       "com.host 42", 0},
      {"twice",
       [&](auto&, auto callback) {
         callback(nullptr, ManagerWorld::base);
         callback(error, std::nullopt);
         callback(nullptr, ManagerWorld::base);
       },
       "success", 1},
      {"no http URL", [&](auto&, auto callback) { callback(nullptr, "ftp://service.test"); }, "unexpectedResponse", 0},
      {"a line break in it", [&](auto&, auto callback) { callback(nullptr, "http://a\r\nX: y"); }, "unexpectedResponse",
       0},
      {"an empty URL", [&](auto&, auto callback) { callback(nullptr, ""); }, "unexpectedResponse", 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ManagerWorld world;
    world.givenProvider([&](auto callback) { c.answer(world, std::move(callback)); });
    Call& call = world.fetch();
    world.runUntilIdle();
    EXPECT_EQ(call.result(), c.result);
    EXPECT_LE(call.completions, 1);
    EXPECT_THAT(world.requests(), SizeIs(c.requests));
    const bool noURL = call.result() == "com.host 42" || call.result() == "noServiceURL";
    EXPECT_THAT(world.logWith("error Failed to get Zephra URL"), SizeIs(noURL ? 1 : 0));
    EXPECT_THAT(world.logWith("error Failed to fetch zephra settings with error"),
                SizeIs(call.completions == 1 && call.error != nullptr ? 1 : 0));
    if (call.result() == "com.host 42") {
      EXPECT_EQ(call.error, error);
      EXPECT_EQ(call.lane, std::string(c.name) == "error" ? requestQueue : "host") << "where the provider answers";
    }
    world.givenProviderAnswers(nullptr, ManagerWorld::base);
    EXPECT_EQ(world.fetched(), call.completions == 0 ? "fetchInProgress" : "success");
  }
}

TEST(TokenStep, TheTokenIsKeptUntilTheHostClearsIt) {
  ManagerWorld world;
  int number = 0;
  world.givenDelegate([&](auto callback) { callback("T" + std::to_string(++number), nullptr); });
  const auto bearerOfNext = [&] {
    world.fetched();
    return world.sentHeader("Authorization");
  };
  EXPECT_EQ(bearerOfNext(), "Bearer T1");
  world.whenServiceAnswers({401});
  EXPECT_EQ(bearerOfNext(), "Bearer T1");
  EXPECT_EQ(bearerOfNext(), "Bearer T1") << "a 401 clears nothing";

  world.forgetLog();
  Call& before = world.fetch();
  world.manager->clearCCRToken();
  world.runUntilIdle();
  EXPECT_EQ(before.result(), "success");
  EXPECT_EQ(world.sentHeader("Authorization"), "Bearer T1") << "asked for before it was cleared";
  EXPECT_THAT(world.logWith("info Clearing CCR token"), SizeIs(1));
  EXPECT_EQ(world.manager->ccrToken(), std::nullopt);
  EXPECT_EQ(bearerOfNext(), "Bearer T2");

  world.manager->setCcrToken("host's");
  EXPECT_EQ(bearerOfNext(), "Bearer host's");
  world.manager->setCcrToken(std::nullopt);
  EXPECT_EQ(bearerOfNext(), "Bearer T3");
}

TEST(TokenStep, RepetitionsKeepTheTokenAndAskForTheURLAndTheProductAgain) {
  ManagerWorld world;
  world.whenServiceAnswers({503, 503, 503, 503});
  world.givenJitter(~0U);
  int number = 0;
  world.givenProvider([&](auto callback) { callback(nullptr, "http://host" + std::to_string(++number) + "/base/?q"); });
  Call& call = world.fetch();
  world.advance(milliseconds(500));
  ASSERT_THAT(world.requests(), SizeIs(4));
  world.manager->setCcrToken("newer");
  world.appInfo->setProductName("the other");
  world.appInfo->setUserAgent("Other/2");
  world.runUntilIdle();
  EXPECT_EQ(call.result(), "success");
  EXPECT_EQ(world.requests().back().request.url,
            "http://host5/base/zephra/client-api/v3/clients/me/products/the%20other/settings");
  EXPECT_EQ(world.sentHeader("Authorization"), std::string("Bearer ") + secretToken);
  EXPECT_EQ(world.sentHeader("User-Agent"), "Other/2");
  EXPECT_THAT(world.provider->asked, ElementsAre(1U, 1U, 1U, 1U, 1U));
  EXPECT_EQ(world.delegate->asked, 1);
}

TEST(TokenStep, ADelegateThatIsGoneGivesNoAnswer) {
  ManagerWorld world;
  world.delegate.reset();
  EXPECT_EQ(world.fetched(), "open");
  EXPECT_EQ(world.fetched(), "fetchInProgress");
}

class ThrowingAppInfo : public QLCAppInfo {
 public:
  using QLCAppInfo::QLCAppInfo;
  [[nodiscard]] std::string userAgent() const override { throw std::runtime_error("no user agent"); }
  [[nodiscard]] std::string zephraSettingsURL(const std::string&) const override { throw 1; }
};

TEST(TokenStep, AnAppInfoThatThrowsEndsTheFetchWithoutARequest) {
  ManagerWorld world;
  world.appInfo = std::make_shared<ThrowingAppInfo>("corlane", "agent");
  world.manager = world.makeManager();
  EXPECT_EQ(world.fetched(), "unexpectedResponse");
  EXPECT_THAT(world.requests(), IsEmpty());
  EXPECT_THAT(world.logWith("an app info threw"), SizeIs(2));
}

TEST(TokenStep, WhatCannotBeSentEndsTheFetchWithoutARequest) {
  using Given = std::function<void(ManagerWorld&)>;
  const Given cases[] = {
      [](ManagerWorld& w) { w.givenDelegateAnswers("a\r\nX: y"); },
      [](ManagerWorld& w) { w.givenDelegateAnswers(std::string("a\0b", 3)); },
      [](ManagerWorld& w) { w.appInfo->setUserAgent("a\nb"); },
      [](ManagerWorld& w) { w.appInfo->setProductName(""); },
      [](ManagerWorld& w) { w.appInfo->setProductName(".."); },
  };
  for (const Given& given : cases) {
    ManagerWorld world;
    given(world);
    Call& call = world.fetch();
    world.runUntilIdle();
    EXPECT_EQ(call.result(), "unexpectedResponse");
    EXPECT_EQ(call.error->description(), "Bad zephra response: code - 0");
    EXPECT_NE(call.lane, "");
    EXPECT_THAT(world.requests(), IsEmpty());
    EXPECT_THAT(world.logWith("QLMNetworkRequest: Error Not sent"), SizeIs(1));
    EXPECT_THAT(world.logWith("info Zephra responded with status 0"), SizeIs(1));
    EXPECT_THAT(world.logWith("error Unexpected response: 0"), SizeIs(1));
  }
}

}  // namespace
}  // namespace qlczephra::test
