// A system that refuses threads: what was asked for ends with an error, and goes on once there are threads again.
#include <gtest/gtest.h>

#include <cstdlib>
#include <future>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "tests/real/http_session_fixture.h"
#include "tests/real/manager_fixture.h"
#include "tests/support/refused_threads.h"

namespace qlczephra::test {
namespace {

TEST(RefusedThreadsTest, APostThrowsAndLeavesTheQueueAsItWas) {
  const auto pool = platform::WorkerPool::make();
  const auto queue = pool->makeSerialQueue();
  {
    const RefusedThreads refused;
    EXPECT_THROW(pool->post([] { FAIL() << "it was refused"; }), std::system_error);
    EXPECT_THROW(queue->post([] { FAIL() << "it was refused"; }), std::system_error);
    EXPECT_THROW(queue->postAfter(1s, [] { FAIL() << "it was refused"; }), std::system_error);
  }
  Signal ran;
  queue->post([&] { ran.raise(); });
  EXPECT_TRUE(ran.wait());
  std::this_thread::sleep_for(1100ms);
  pool->stop();
}

using RefusedThreadsHttpTest = platform::HttpSessionTest;

TEST_F(RefusedThreadsHttpTest, ARequestFailsAndTheNextOneTriesAgain) {
  const RawServer server(answering(okReply()));
  options.transfersAtOnce = 1;
  Signal started;
  workers_->post([&] { started.raise(); });
  ASSERT_TRUE(started.wait());
  {
    const RefusedThreads refused;
    EXPECT_TRUE(exchange(platform::get(server.url())).failure) << "no network thread";
  }
  EXPECT_EQ(statusOf(exchange(platform::get(server.url()))), 200);
  {
    const RefusedThreads refused;
    // Behind one that holds the only place, so many that each failing inside the one before would take the whole stack.
    const SilentPort silent;
    std::vector<std::future<platform::HttpOutcome>> outcomes;
    outcomes.push_back(
        begin(platform::impatient(platform::get("http://127.0.0.1:" + std::to_string(silent.port()) + "/"))));
    for (int i = 0; i < 20'000; ++i) outcomes.push_back(begin(platform::get(server.url("/", "localhost"))));
    for (auto& outcome : outcomes) ASSERT_TRUE(end(std::move(outcome)).failure) << "no thread for the lookup";
  }
  EXPECT_EQ(statusOf(exchange(platform::get(server.url("/", "localhost")))), 200);
}

using RefusedThreadsDeathTest = RealManagerTest;

// In a process of its own, in which the library has no thread yet.
TEST_F(RefusedThreadsDeathTest, AFetchEndsOnTheCallersThread) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto fetchWithoutThreads = [&] {
    const auto manager = makeManager();
    std::optional<std::thread::id> endedOn;
    ErrorRef result;
    {
      const RefusedThreads refused;
      manager->fetchRemoteSettings([&](const ErrorRef& error) {
        endedOn = std::this_thread::get_id();
        result = error;
      });
    }
    const bool ended = endedOn == std::this_thread::get_id() && result != nullptr;
    std::_Exit(ended && fetch(*manager) == nullptr ? 0 : 1);
  };
  EXPECT_EXIT(fetchWithoutThreads(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace qlczephra::test
