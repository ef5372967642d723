// A service that refuses for good is not overrun: the rate of requests of one pair of files is bounded, whatever the
// refusals are and however many changes are made meanwhile.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include "tests/simulation/seeds.h"
#include "tests/support/manager_world.h"

namespace qlczephra::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

// The most requests in any window of that length, counted from 5 seconds after the first on.
std::size_t mostWithin(const std::vector<sim::SimNetwork::Sent>& sent, milliseconds window) {
  std::vector<milliseconds> times;
  for (const auto& request : sent) {
    if (request.at >= sent.front().at + seconds(5)) times.push_back(request.at);
  }
  std::size_t most = 0;
  std::size_t first = 0;
  for (std::size_t last = 0; last < times.size(); ++last) {
    while (times[last] - times[first] >= window) ++first;
    most = std::max(most, last - first + 1);
  }
  return most;
}

TEST(RefusalRate, IsBoundedForEveryKindOfRefusal) {
  struct Case {
    const char* name;
    std::vector<int> statuses;  // of PATCH requests, over and over
    bool fetchesToo;            // whether GET requests are refused in the same way
  };
  const Case cases[] = {
      {"400", {400}, false},
      {"401", {401}, false},
      {"403", {403}, false},
      {"404", {404}, false},
      {"412", {412}, false},
      {"422", {422}, false},
      {"503 and 412", {503, 412}, false},
      {"400 and 412", {400, 412}, false},
      {"400, 412 and 403", {400, 412, 403}, false},
      {"412 and 422", {412, 422}, false},
      {"503 and 403", {503, 403}, false},
      {"all 403", {403}, true},
      {"all 412", {412}, true},
      {"all 503 and 412", {503, 412}, true},
      {"all 400 and 401", {400, 401}, true},
  };
  std::size_t mostInTenSeconds = 0;
  std::size_t mostInAMinute = 0;
  for (const Case& c : cases) {
    for (std::uint64_t seed = 1; seed <= 1 + seedCount() / 200; ++seed) {
      SCOPED_TRACE(testing::Message() << c.name << ", seed " << seed);
      ManagerWorld world(seed);
      world.fetched();
      const std::size_t before = world.requests().size();
      std::size_t refused = 0;
      world.world.network().connectTo([&](const service::ServiceRequest& request) {
        service::ServiceReply reply;
        if (request.method == "PATCH" || c.fetchesToo) {
          reply.status = c.statuses[refused++ % c.statuses.size()];
        } else {
          reply.body = ManagerWorld::document;
        }
        return reply;
      });
      const std::unique_ptr<QLCZephraManager> second = world.makeManager();
      second->setPatchFilePath(ManagerWorld::patchFile);
      for (int i = 0; i < 360; ++i) {
        (i % 2 == 0 ? *world.manager : *second).setSettingValue("common.count", i);
        world.advance(seconds(10));
      }
      const auto& all = world.requests();
      const std::vector<sim::SimNetwork::Sent> sent(all.begin() + static_cast<std::ptrdiff_t>(before), all.end());
      const std::size_t inTenSeconds = mostWithin(sent, seconds(10));
      const std::size_t inAMinute = mostWithin(sent, seconds(60));
      EXPECT_LE(inTenSeconds, 10U);
      EXPECT_LE(inAMinute, 60U);
      EXPECT_GE(refused, 3U) << "it goes on trying";
      mostInTenSeconds = std::max(mostInTenSeconds, inTenSeconds);
      mostInAMinute = std::max(mostInAMinute, inAMinute);
    }
  }
  std::printf("at most %zu requests in 10 seconds, %zu in a minute\n", mostInTenSeconds, mostInAMinute);
}

}  // namespace
}  // namespace qlczephra::test
