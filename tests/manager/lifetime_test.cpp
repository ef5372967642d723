// The host lets its manager go: at every stage of a fetch, and inside every callback. From then on nothing of the host
// is called.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/manager_world.h"
#include "tests/support/secret_token.h"

namespace qlczephra::test {
namespace {

using std::chrono::seconds;

// Calls of the host's objects so far, completions included.
int hostCalls(const ManagerWorld& world, const Call& call) {
  return world.delegate->asked + static_cast<int>(world.provider->asked.size()) + call.completions;
}

// A fetch in which everything happens: delegate and provider answer late, a repetition, then a document.
Call& startLongFetch(ManagerWorld& world) {
  world.givenDelegate([&world](auto callback) { world.later(seconds(5), [=] { callback(secretToken, nullptr); }); });
  world.givenProvider(
      [&world](auto callback) { world.later(seconds(5), [=] { callback(nullptr, ManagerWorld::base); }); });
  world.givenJitter(~0U);
  world.whenServiceAnswers({503, 503, 503, 503, 200});
  return world.fetch();
}

TEST(Lifetime, ManagerMayGoAtEveryStageOfAFetch) {
  int completed = 0;
  int stage = 0;
  for (; completed < 3; ++stage) {  // a few beyond the end, where nothing is left to do
    SCOPED_TRACE(stage);
    ManagerWorld world(static_cast<std::uint64_t>(stage));
    const Call& call = startLongFetch(world);
    for (int i = 0; i < stage; ++i) world.world.step();
    const int before = hostCalls(world, call);
    const std::size_t requestsBefore = world.requests().size();
    world.manager.reset();
    world.runUntilIdle();
    EXPECT_EQ(hostCalls(world, call), before);
    EXPECT_EQ(world.requests().size(), requestsBefore) << "nor is anything sent any more";
    EXPECT_EQ(world.world.disk().openHandles(), 0U);
    completed += call.completions;
  }
  EXPECT_GT(stage, 20) << "a fetch with four repetitions has more stages than that";
}

TEST(Lifetime, ManagerMayGoInsideEveryCallback) {
  struct Case {
    const char* name;
    std::function<void(ManagerWorld&)> given;
    std::size_t requests;  // sent before the manager was gone
  };
  const Case cases[] = {
      {"delegate, before it answers",
       [](ManagerWorld& w) {
         w.givenDelegate([&w](auto callback) {
           w.manager.reset();
           callback(secretToken, nullptr);
         });
       },
       0},
      {"delegate, after it answered",
       [](ManagerWorld& w) {
         w.givenDelegate([&w](auto callback) {
           callback(secretToken, nullptr);
           w.manager.reset();
         });
       },
       0},
      {"provider, before it answers",
       [](ManagerWorld& w) {
         w.givenProvider([&w](auto callback) {
           w.manager.reset();
           callback(nullptr, ManagerWorld::base);
         });
       },
       0},
      {"provider, before it answers without a URL",
       [](ManagerWorld& w) {
         w.givenProvider([&w](auto callback) {
           w.manager.reset();
           callback(nullptr, std::nullopt);
         });
       },
       0},
      {"provider, after it answered",
       [](ManagerWorld& w) {
         w.givenProvider([&w](auto callback) {
           callback(nullptr, ManagerWorld::base);
           w.manager.reset();
         });
       },
       1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ManagerWorld world;
    c.given(world);
    EXPECT_EQ(world.fetched(), "open");
    EXPECT_EQ(world.manager, nullptr);
    EXPECT_EQ(world.requests().size(), c.requests);
    EXPECT_TRUE(world.logWith("error").empty());
  }
}

TEST(Lifetime, ManagerMayGoInsideItsOwnCompletion) {
  for (const Answer& last : {Answer(200), Answer(304), Answer(403), Answer(404)}) {
    ManagerWorld world;
    Call& call = world.newCall();
    world.whenServiceAnswers({503, last});
    world.manager->fetchRemoteSettings(world.recording(call, [&] { world.manager.reset(); }));
    world.runUntilIdle();
    EXPECT_EQ(call.completions, 1);
    EXPECT_EQ(world.manager, nullptr);
  }
  // Also in those that do not come from a reply: no token, and a fetch that is refused.
  ManagerWorld world;
  Call& refused = world.newCall();
  const Call& running = world.fetch();
  world.manager->fetchRemoteSettings(world.recording(refused, [&] { world.manager.reset(); }));
  world.runUntilIdle();
  EXPECT_EQ(refused.result(), "fetchInProgress");
  EXPECT_EQ(running.result(), "open");

  ManagerWorld other;
  other.givenDelegateAnswers(std::nullopt);
  Call& call = other.newCall();
  other.manager->fetchRemoteSettings(other.recording(call, [&] { other.manager.reset(); }));
  other.runUntilIdle();
  EXPECT_EQ(call.result(), "unauthorized");
}

TEST(Lifetime, AManagerThatGoesInABackOffTakesItsCompletionsAlong) {
  ManagerWorld world;
  world.whenServiceAlwaysAnswers(429);
  const auto held = std::make_shared<int>(0);
  world.manager->fetchRemoteSettings([held](const ErrorRef&) {});
  world.manager->setPNSID("id", [held](const ErrorRef&) {});
  world.advance(std::chrono::seconds(5));
  EXPECT_EQ(held.use_count(), 3);
  world.manager.reset();
  EXPECT_EQ(held.use_count(), 1);
}

// The completion that a manager still holds is the host's, and may be the last to hold the manager.
TEST(Lifetime, ACompletionThatOwnsTheManagerIsFreed) {
  ManagerWorld world;
  std::shared_ptr<QLCZephraManager> manager = world.makeManager();
  const std::weak_ptr<QLCZephraManager> alive = manager;
  int completions = 0;
  manager->fetchRemoteSettings([manager, &completions](const ErrorRef&) { ++completions; });
  manager.reset();
  world.runUntilIdle();
  EXPECT_EQ(completions, 1);
  EXPECT_TRUE(alive.expired());
}

}  // namespace
}  // namespace qlczephra::test
