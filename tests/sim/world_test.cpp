// The simulated world itself: what it promises about order, time, disk and network.
#include "sim/world.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <set>

#include "platform/replace_file.h"

namespace qlczephra::sim {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::SizeIs;
using testing::UnorderedElementsAre;

constexpr const char* url = "http://service.test/x";

platform::HttpRequest requestTo(std::string target) {
  platform::HttpRequest request;
  request.method = "GET";
  request.url = std::move(target);
  return request;
}

// Queues, timers, files and requests that work on each other, under conditions and disk faults.
std::string historyOf(std::uint64_t seed) {
  World world(seed);
  world.disk().makeDirectory("/d");
  world.disk().faults.probability = 0.1;
  world.network().conditions = {milliseconds(1), milliseconds(500), 0.2, 0.2, 0.1, 0.1};
  world.network().connectTo([](const service::ServiceRequest&) { return service::ServiceReply{}; });
  world.scheduler().setLateness(0.1);
  const auto queue = world.makeSerialQueue("queue");
  for (int i = 0; i < 20; ++i) {
    world.onThread("thread", [&world, queue, i] {
      static_cast<void>(platform::replaceFile(world.files(), "/d/" + std::to_string(i % 3), "content"));
      world.http().send(requestTo(url), [queue, i](const platform::HttpOutcome& outcome) {
        if (!outcome.failure) queue->postAfter(seconds(i), [] {});
      });
    });
  }
  world.runUntilIdle();
  return world.history().text();
}

TEST(World, SeedDecidesEverything) {
  std::set<std::string> histories;
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    const std::string history = historyOf(seed);
    EXPECT_EQ(history, historyOf(seed));
    histories.insert(history);
  }
  EXPECT_THAT(histories, SizeIs(20));
}

TEST(World, QueuesAreSerialAndEveryOrderBetweenThemHappens) {
  std::set<std::string> orders;
  for (std::uint64_t seed = 0; seed < 200; ++seed) {
    World world(seed);
    const auto a = world.makeSerialQueue("a");
    const auto b = world.makeSerialQueue("b");
    std::string order;
    for (const char* name : {"1", "2"}) {
      a->post([&order, name] { order += std::string("a") + name; });
      b->post([&order, name] { order += std::string("b") + name; });
    }
    world.runUntilIdle();
    orders.insert(order);
  }
  EXPECT_THAT(orders, UnorderedElementsAre("a1a2b1b2", "a1b1a2b2", "a1b1b2a2", "b1a1a2b2", "b1a1b2a2", "b1b2a1a2"));
}

TEST(World, TimePassesOnlyWhereNothingIsReady) {
  World world(1);
  std::string order;
  const auto queue = world.makeSerialQueue("queue");
  queue->postAfter(seconds(7200), [&] { order += "late "; });
  queue->postAfter(seconds(10), [&] {
    order += "early ";
    queue->post([&] { order += "at once "; });
  });
  queue->postAfter(seconds(-5), [&] { order += "past "; });
  world.workers().postAt(world.wallNow() + seconds(100), [&] { order += "wall "; });
  world.moveWallClock(seconds(60));
  EXPECT_TRUE(world.advance(seconds(39)));
  EXPECT_EQ(order, "past early at once ");
  EXPECT_EQ(world.clocks().elapsed(), seconds(39));
  world.advance(seconds(1));
  EXPECT_EQ(order, "past early at once wall ");
  world.runUntilIdle();
  EXPECT_EQ(order, "past early at once wall late ");
  EXPECT_EQ(world.clocks().elapsed(), seconds(7200));
  EXPECT_FALSE(world.step());
}

// The outcomes that a power cut may leave of replacing "old" by "new content", by what was flushed before it.
TEST(Disk, APowerCutForgetsWhatWasNotFlushed) {
  enum Flushed { nothing, file, directory };
  const auto outcomes = [](Flushed flushed) {
    std::set<std::string> found;
    for (std::uint64_t seed = 0; seed < 500; ++seed) {
      World world(seed);
      SimDisk& disk = world.disk();
      disk.put("/d/f", "old");
      platform::FileStore::Handle handle = 0;
      EXPECT_TRUE(disk.create("/d/t", handle).ok());
      EXPECT_TRUE(disk.write(handle, "new").ok());
      EXPECT_TRUE(flushed < file || disk.flush(handle).ok());
      EXPECT_TRUE(disk.close(handle).ok());
      EXPECT_TRUE(disk.rename("/d/t", "/d/f").ok());
      EXPECT_TRUE(flushed < directory || disk.flushDirectory("/d").ok());
      world.end(World::End::powerCut);
      const auto next = world.restart();
      std::string content = next->disk().content("/d/f").value_or("missing");
      for (char& c : content) c = c == '\0' ? '0' : c;
      found.insert(content);
    }
    return found;
  };
  EXPECT_THAT(outcomes(nothing), UnorderedElementsAre("old", "", "n", "ne", "new", "000", "n00", "ne0"));
  EXPECT_THAT(outcomes(file), UnorderedElementsAre("old", "new"));
  EXPECT_THAT(outcomes(directory), ElementsAre("new"));
}

TEST(Disk, LaterNamesMayBeDurableWithoutEarlierOnes) {
  std::set<std::vector<std::string>> found;
  for (std::uint64_t seed = 0; seed < 200; ++seed) {
    World world(seed);
    SimDisk& disk = world.disk();
    disk.put("/d/a", "1");
    disk.put("/d/b", "2");
    EXPECT_TRUE(disk.rename("/d/a", "/d/c").ok());
    EXPECT_TRUE(disk.remove("/d/b").ok());
    world.end(World::End::powerCut);
    found.insert(world.restart()->disk().paths());
  }
  using Paths = std::vector<std::string>;
  EXPECT_THAT(found, UnorderedElementsAre(Paths{"/d/a", "/d/b"}, Paths{"/d/b", "/d/c"}, Paths{"/d/a"}, Paths{"/d/c"}));
}

TEST(Disk, AKilledProcessLeavesEverythingAsItStands) {
  World world(1);
  SimDisk& disk = world.disk();
  disk.makeDirectory("/d");
  platform::FileStore::Handle handle = 0;
  EXPECT_TRUE(disk.create("/d/t", handle).ok());
  EXPECT_TRUE(disk.write(handle, "part").ok());
  // The process ends in place of the third call; what it does afterwards has no effect.
  world.endAtDiskCall(3, World::End::killed);
  bool hostCalled = false;
  world.onThread("later", [&] { hostCalled = true; });
  EXPECT_FALSE(disk.write(handle, "more").ok());
  EXPECT_TRUE(world.hasEnded());
  EXPECT_FALSE(disk.rename("/d/t", "/d/f").ok());
  world.http().send(requestTo(url), [&](const platform::HttpOutcome&) { hostCalled = true; });
  world.makeSerialQueue("queue")->post([&] { hostCalled = true; });
  world.log().process("line");
  EXPECT_FALSE(world.step());
  EXPECT_FALSE(world.hostCodeBegins());
  EXPECT_FALSE(hostCalled);
  EXPECT_THAT(world.network().sent(), SizeIs(0));
  EXPECT_THAT(world.logged().records(), SizeIs(0));
  const auto next = world.restart();
  EXPECT_EQ(next->disk().content("/d/t"), "part");
  EXPECT_THAT(next->disk().paths(), ElementsAre("/d/t"));
}

TEST(Disk, FailsTheCallsThatAreChosen) {
  World world(1);
  SimDisk& disk = world.disk();
  disk.put("/d/f", "old");
  platform::FileStore::Handle handle = 0;
  std::string content;
  disk.faults.full = true;
  EXPECT_EQ(disk.create("/d/t", handle).systemError, ENOSPC);
  EXPECT_TRUE(disk.read("/d/f", content).ok());
  disk.faults.full = false;
  disk.faults.numbered[disk.calls() + 2] = EMFILE;
  EXPECT_TRUE(disk.read("/d/f", content).ok());
  EXPECT_EQ(disk.read("/d/f", content).kind, platform::FileStatus::Kind::unavailable);
  EXPECT_EQ(content, "");
  EXPECT_TRUE(disk.create("/d/t", handle).ok());
  disk.faults.chosen = [](const DiskCall& call) { return call.takesSpace() ? ENOSPC : 0; };
  EXPECT_EQ(disk.write(handle, "0123456789").systemError, ENOSPC);
  EXPECT_LE(disk.content("/d/t")->size(), 10U) << "a part at most";
  EXPECT_TRUE(disk.close(handle).ok());
  EXPECT_EQ(disk.close(handle).systemError, EBADF);
  EXPECT_EQ(disk.read("/d/none", content).kind, platform::FileStatus::Kind::missing);
  EXPECT_EQ(disk.rename("/d/t", "/none/t").kind, platform::FileStatus::Kind::missing);
  disk.faults = {};
  EXPECT_EQ(disk.create("/d/f", handle).systemError, EEXIST);
  EXPECT_THAT(disk.paths(), ElementsAre("/d/f", "/d/t"));
}

TEST(Network, CountsWhatIsUnderWayAndWhatWasHandled) {
  // NetworkConditions, the requests that the service sees of 100, and whether the client sees a head, a failure.
  struct Case {
    NetworkConditions conditions;
    int handled;
    bool head;
    bool failure;
  };
  NetworkConditions lost, replyLost, broken, late;
  lost.requestLost = replyLost.replyLost = broken.replyBroken = late.replyTooLate = 1;
  for (const Case& c : {Case{{}, 100, true, false}, Case{lost, 0, false, true}, Case{replyLost, 100, false, true},
                        Case{broken, 100, true, true}, Case{late, 100, false, true}}) {
    World world(1);
    int handled = 0;
    int completed = 0;
    world.network().conditions = c.conditions;
    world.network().connectTo([&](const service::ServiceRequest& request) {
      EXPECT_EQ(request.target, "/x");
      ++handled;
      return service::ServiceReply{};
    });
    for (int i = 0; i < 100; ++i) {
      world.http().send(requestTo(url), [&](const platform::HttpOutcome& outcome) {
        ++completed;
        EXPECT_EQ(outcome.head.has_value(), c.head);
        EXPECT_EQ(outcome.failure.has_value(), c.failure);
      });
    }
    EXPECT_EQ(completed, 0) << "never on the caller's stack";
    EXPECT_EQ(world.network().inFlight("GET", url), 100U);
    world.runUntilIdle();
    EXPECT_EQ(handled, c.handled);
    EXPECT_EQ(completed, 100);
    EXPECT_EQ(world.network().inFlight("GET", url), 0U);
    EXPECT_EQ(world.network().mostInFlight("GET", url), 100U);
  }
}

TEST(Network, RequestsOfAProcessThatEndedArriveOrNot) {
  std::set<int> handled;
  for (std::uint64_t seed = 0; seed < 50; ++seed) {
    World world(seed);
    int count = 0;
    world.network().connectTo([&](const service::ServiceRequest&) {
      ++count;
      return service::ServiceReply{};
    });
    world.http().send(requestTo(url), [](const platform::HttpOutcome&) { FAIL(); });
    world.end(World::End::killed);
    world.runUntilIdle();
    handled.insert(count);
    // The next process is on the same network.
    const auto next = world.restart();
    next->http().send(requestTo(url), [](const platform::HttpOutcome&) {});
    next->runUntilIdle();
    handled.insert(count + 10);
  }
  EXPECT_THAT(handled, UnorderedElementsAre(0, 1, 11, 12));
}

}  // namespace
}  // namespace qlczephra::sim
