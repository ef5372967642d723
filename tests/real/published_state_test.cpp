// Reads of the published settings beside a writer that replaces them.
#include "state/published_state.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <utility>
#include <vector>

#include "platform/native/native_platform.h"
#include "qlczephra/setting_path.h"

namespace qlczephra {
namespace {

Map revision(int number) {
  Map::Builder entries;
  for (int i = 0; i < 16; ++i) entries.set("key" + std::to_string(i), number);
  return entries.build();
}

// 0 when there is no tree.
std::uint64_t numberOf(const PublishedState& state) {
  return state.read([](const Revision* present) { return present == nullptr ? std::uint64_t{0} : present->number; });
}

TEST(PublishedState, EveryReadSeesOneWholeRevisionAndNeverAnOlderOneThanBefore) {
  constexpr int revisions = 3000;
  constexpr int readers = 4;
  {
    PublishedState state(platform::nativePlatform());
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
    for (int number = 1; number <= revisions; ++number) state.publish(revision(number));
    end = true;
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(torn, 0);
    EXPECT_EQ(backwards, 0);
    EXPECT_EQ(state.tree(), revision(revisions));
  }
}

// What was read before is good as long as the number is that of its revision, so the two must not contradict each other
// for a moment, nor in the end, whoever publishes first.
TEST(PublishedState, TheNumberIsThatOfTheRevisionThatStays) {
  constexpr int publishers = 3;
  for (int round = 0; round < 200; ++round) {
    PublishedState state(platform::nativePlatform());
    EXPECT_EQ(state.number(), 0U);
    std::atomic<bool> end{false};
    std::atomic<int> contradictions{0};
    std::thread reader([&] {
      std::uint64_t lastRead = 0;
      while (!end.load(std::memory_order_relaxed)) {
        const std::uint64_t before = state.number();
        const std::uint64_t read = numberOf(state);
        const std::uint64_t after = state.number();
        contradictions += read > after || read < lastRead || (before == after && lastRead == before && read != before);
        lastRead = read;
      }
    });
    std::vector<std::thread> threads;
    for (int publisher = 0; publisher < publishers; ++publisher) {
      threads.emplace_back([&] {
        for (int i = 0; i < 20; ++i) state.publish(revision(i));
      });
    }
    for (std::thread& thread : threads) thread.join();
    end = true;
    reader.join();
    EXPECT_EQ(contradictions, 0);
    EXPECT_EQ(numberOf(state), state.number());
  }
}

TEST(PublishedState, ATreeIsFreedOnceNobodyReadsIt) {
  {
    PublishedState state(platform::nativePlatform());
    const Value kept(std::string(100, 'x'));
    Map tree{{"kept", kept}};
    state.publish(tree);
    state.read([&](const Revision* before) {
      std::thread([&] {
        for (int i = 0; i < 1000; ++i) state.publish(Map{{"n", i}});
      }).join();
      EXPECT_EQ(*before->tree.find("kept"), kept) << "a tree in use stays";
    });
  }
}

TEST(PublishedState, AnOlderTreeDoesNotReplaceANewerNone) {
  for (int round = 0; round < 500; ++round) {
    PublishedState state(platform::nativePlatform());
    std::thread other([&] { state.publish(revision(round)); });
    state.publish(std::nullopt);
    other.join();
    const std::uint64_t stays = numberOf(state);
    ASSERT_TRUE(stays == 0 || stays == state.number());
  }
}

struct ReadsAtThreadExit {
  const PublishedState* state = nullptr;
  ~ReadsAtThreadExit() {
    if (state != nullptr) static_cast<void>(state->tree());
  }
};

TEST(PublishedState, ThreadsThatReadWhileTheyEndLeaveNoSlotBehind) {
  PublishedState state(platform::nativePlatform());
  state.publish(revision(0));
  const auto readInDestructors = [&] {
    std::thread([&] {
      // Made before the slot's owner and so destroyed after it.
      static thread_local ReadsAtThreadExit exit;
      exit.state = &state;
      static_cast<void>(state.tree());
    }).join();
  };
  readInDestructors();
  const std::size_t before = hazardSlots();
  for (int i = 0; i < 100; ++i) readInDestructors();
  EXPECT_EQ(hazardSlots(), before);
}

TEST(SettingPath, OneThatWasMovedFromStillNamesItsPath) {
  SettingPath path("common.a");
  const SettingPath moved(std::move(path));
  // NOLINTNEXTLINE(bugprone-use-after-move): that is what is tested
  EXPECT_EQ(path.text(), "common.a");
  EXPECT_EQ(path.id(), moved.id());
}

}  // namespace
}  // namespace qlczephra
