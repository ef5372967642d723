// Reads of the published settings beside a writer that replaces them.
#include "state/published_state.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <utility>
#include <vector>

#include "platform/native/threads/worker_pool.h"

namespace qlczephra {
namespace {

Map revision(int number) {
  Map::Builder entries;
  for (int i = 0; i < 16; ++i) entries.set("key" + std::to_string(i), number);
  return entries.build();
}

void publishEitherWay(PublishedState& state, Map tree, int number) {
  if (number % 2 == 0) {
    state.publish(std::move(tree));
  } else {
    state.publishChanged(std::move(tree), 0);
  }
}

TEST(PublishedState, EveryReadSeesOneWholeRevisionAndNeverAnOlderOneThanBefore) {
  constexpr int revisions = 3000;
  constexpr int readers = 4;
  const auto pool = platform::WorkerPool::make();
  {
    PublishedState state(*pool);
    EXPECT_EQ(state.tree(), std::nullopt);
    state.publish(revision(0));
    std::atomic<bool> end{false};
    std::atomic<int> torn{0};
    std::atomic<int> backwards{0};
    std::vector<std::thread> threads;
    for (int reader = 0; reader < readers; ++reader) {
      threads.emplace_back([&] {
        std::int64_t last = 0;
        while (!end.load(std::memory_order_relaxed)) {
          state.read([&](const Revision* present) {
            const std::int64_t first = *present->tree.find("key0")->integer();
            for (const auto& [key, value] : present->tree) torn += value.integer() != first;
            backwards += first < last;
            last = first;
          });
        }
      });
    }
    for (int number = 1; number <= revisions; ++number) publishEitherWay(state, revision(number), number);
    end = true;
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(torn, 0);
    EXPECT_EQ(backwards, 0);
    EXPECT_EQ(state.tree(), revision(revisions));
  }
  pool->stop();
}

// What was read before is good as long as the number is that of its revision, so the two must not contradict each other
// for a moment, nor in the end, whoever publishes first.
TEST(PublishedState, TheNumberIsThatOfTheRevisionThatStays) {
  constexpr int publishers = 3;
  const auto pool = platform::WorkerPool::make();
  for (int round = 0; round < 200; ++round) {
    PublishedState state(*pool);
    EXPECT_EQ(state.number(), 0U);
    std::atomic<bool> end{false};
    std::atomic<int> contradictions{0};
    std::thread reader([&] {
      std::uint64_t lastRead = 0;
      while (!end.load(std::memory_order_relaxed)) {
        const std::uint64_t before = state.number();
        const std::uint64_t read =
            state.read([](const Revision* present) { return present == nullptr ? 0 : present->number; });
        const std::uint64_t after = state.number();
        contradictions += read > after || read < lastRead || (before == after && lastRead == before && read != before);
        lastRead = read;
      }
    });
    std::vector<std::thread> threads;
    for (int publisher = 0; publisher < publishers; ++publisher) {
      threads.emplace_back([&] {
        for (int i = 0; i < 20; ++i) publishEitherWay(state, revision(i), i);
      });
    }
    for (std::thread& thread : threads) thread.join();
    end = true;
    reader.join();
    EXPECT_EQ(contradictions, 0);
    EXPECT_EQ(state.revision()->number, state.number());
  }
  pool->stop();
}

TEST(PublishedState, ATreeIsFreedOnceNobodyReadsIt) {
  const auto pool = platform::WorkerPool::make();
  {
    PublishedState state(*pool);
    const Value kept(std::string(100, 'x'));
    Map tree{{"kept", kept}};
    state.publish(tree);
    state.read([&](const Revision* before) {
      std::thread([&] {
        for (int i = 0; i < 1000; ++i) publishEitherWay(state, Map{{"n", i}}, i);
      }).join();
      EXPECT_EQ(*before->tree.find("kept"), kept) << "a tree in use stays";
    });
  }
  pool->stop();
}

TEST(RetireSmall, FreesAtOnceUnlessTheObjectIsRead) {
  struct Idle : platform::WorkerQueue {
    void post(platform::Task) override {}
    void postAt(std::chrono::system_clock::time_point, platform::Task) override {}
  } workers;
  static int freed;
  freed = 0;
  const auto release = [](const void*) { ++freed; };
  const int first = 0;
  const int second = 0;
  std::atomic<const int*> present{&first};
  {
    const platform::HazardGuard<const int> guard(present);
    present = &second;
    platform::retireSmall(&first, release, workers);
    EXPECT_EQ(freed, 0);
  }
  platform::reclaimRetired();
  EXPECT_EQ(freed, 1);
  platform::retireSmall(&second, release, workers);
  EXPECT_EQ(freed, 2);
}

}  // namespace
}  // namespace qlczephra
