// Managers against the stand-in service, over a bad network, in whatever order a seed brings about.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/service.h"
#include "tests/support/json_literal.h"
#include "tests/support/manager_world.h"
#include "tests/support/secret_token.h"

namespace qlczephra::test {
namespace {

using std::chrono::milliseconds;

// One story: 30 things happen within 20 seconds, then the network is good again. Gives the world's history and adds to
// `unchanged` how many fetches were answered with 304.
std::string tell(std::uint64_t seed, std::size_t& unchanged) {
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  service::ServiceOptions options;
  options.tokens = {secretToken};
  service::Service service(std::move(options));
  EXPECT_TRUE(service.store().setDocument("corlane", mapFromJson(ManagerWorld::document)));

  ManagerWorld world(seed);
  sim::Random& random = world.world.random();
  world.world.network().connectTo([&](const service::ServiceRequest& request) { return service.handle(request); });
  world.world.network().conditions = {milliseconds(1), milliseconds(3000), 0.1, 0.1, 0.1, 0.1};
  world.world.scheduler().setLateness(0.1);
  world.world.afterEachStep([&] { ASSERT_EQ(world.world.hostCallsRunning(), 0); });

  std::vector<Call*> calls;
  std::int64_t count = 1;
  for (int i = 0; i < 30; ++i) {
    world.later(milliseconds(random.below(20000)), [&] {
      switch (random.below(4)) {
        case 0: {
          const Map change{{"common", Map{{"count", ++count}}}};
          const auto update = service.store().update("corlane", change, [](auto) { return true; });
          EXPECT_EQ(update.status, service::Store::UpdateStatus::done);
          break;
        }
        case 1:
          world.manager->updateLocalSettings();
          break;
        case 2:
          world.manager->clearCCRToken();
          break;
        default:
          calls.push_back(&world.fetch());
      }
    });
  }
  world.runUntilIdle();
  for (const Call* call : calls) {
    EXPECT_EQ(call->completions, 1);
    EXPECT_TRUE(call->result() == "success" || call->result() == "fetchInProgress") << call->result();
  }

  world.world.network().conditions = {};
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(world.fetched(), "success");
    EXPECT_EQ(world.manager->getNumberValue("common.count"), count);
    EXPECT_EQ(world.storedMap(ManagerWorld::localFile), world.manager->currentSettings());
  }
  unchanged += world.logWith("responded with status 304").size();
  EXPECT_EQ(world.world.network().mostInFlight("GET", ManagerWorld::settingsURL), 1U);
  return world.world.history().text();
}

TEST(ServiceStory, EveryFetchEndsOnceAndTheLastOneBringsTheServicesSettings) {
  constexpr std::uint64_t seeds = 400;
  std::size_t unchanged = 0;
  for (std::uint64_t seed = 0; seed < seeds; ++seed) tell(seed, unchanged);
  EXPECT_GE(unchanged, seeds) << "the second of two fetches in a row is answered with 304";
}

TEST(ServiceStory, ASeedTellsOneStory) {
  std::size_t unchanged = 0;
  for (std::uint64_t seed = 0; seed < 20; ++seed) EXPECT_EQ(tell(seed, unchanged), tell(seed, unchanged));
}

}  // namespace
}  // namespace qlczephra::test
