// The worker pool and its serial queues over real threads.
#include "platform/native/threads/worker_pool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/process_use.h"

namespace qlczephra::platform {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Counts down from any thread and lets the test wait.
class Countdown {
 public:
  explicit Countdown(int count) : count_(count) {}
  void arrive() {
    const std::lock_guard lock(mutex_);
    --count_;
    changed_.notify_all();
  }
  [[nodiscard]] bool wait(std::chrono::milliseconds longest = 10s) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, longest, [&] { return count_ <= 0; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int count_;
};

using test::threadsOfProcess;

class WorkerPoolTest : public testing::Test {
 protected:
  ~WorkerPoolTest() override { pool_->stop(); }
  std::shared_ptr<WorkerPool> pool_ = WorkerPool::make();
};

TEST_F(WorkerPoolTest, ASerialQueueKeepsTheOrderAndRunsOneAtATime) {
  constexpr int tasks = 2000;
  constexpr int queues = 8;
  struct Lane {
    std::shared_ptr<SerialQueue> queue;
    std::vector<int> seen;  // unguarded on purpose: the queue is what orders the accesses
  };
  std::vector<Lane> lanes(queues);
  Countdown done(queues * tasks);
  for (Lane& lane : lanes) lane.queue = pool_->makeSerialQueue();
  for (int task = 0; task < tasks; ++task) {
    for (Lane& lane : lanes) {
      lane.queue->post([&lane, &done, task] {
        lane.seen.push_back(task);
        done.arrive();
      });
    }
  }
  ASSERT_TRUE(done.wait(60s));
  for (Lane& lane : lanes) {
    bool finished = false;
    Countdown read(1);
    lane.queue->post([&] {
      finished = std::is_sorted(lane.seen.begin(), lane.seen.end()) && lane.seen.size() == tasks;
      read.arrive();
    });
    ASSERT_TRUE(read.wait());
    EXPECT_TRUE(finished);
  }
}

TEST_F(WorkerPoolTest, HostCodeThatBlocksDoesNotHoldUpOtherQueues) {
  constexpr int blocked = 64;
  Countdown inside(blocked);
  Countdown left(blocked);
  std::mutex gate;
  std::unique_lock closed(gate);
  for (int i = 0; i < blocked; ++i) {
    pool_->makeSerialQueue()->post([&] {
      ASSERT_TRUE(pool_->hostCodeBegins());
      inside.arrive();
      { const std::lock_guard wait(gate); }
      pool_->hostCodeEnds();
      left.arrive();
    });
  }
  ASSERT_TRUE(inside.wait());
  Countdown other(1);
  const auto begun = Clock::now();
  pool_->makeSerialQueue()->postAfter(0s, [&] { other.arrive(); });
  EXPECT_TRUE(other.wait(1s)) << "a free thread is there at once";
  EXPECT_LT(Clock::now() - begun, 1s);
  closed.unlock();
  ASSERT_TRUE(left.wait());
}

// Nobody is woken for it while the worker that posted it can be expected to come back.
TEST_F(WorkerPoolTest, WhatAWorkerPostsRunsWhateverThatWorkerDoesNext) {
  struct Case {
    const char* name;
    std::function<void(WorkerPool& pool, const std::function<void()>& post, Countdown& ran)> act;
  };
  const Case cases[] = {
      {"ends its task", [](WorkerPool&, const auto& post, Countdown&) { post(); }},
      {"goes into host code that waits for it",
       [](WorkerPool& pool, const auto& post, Countdown& ran) {
         post();
         ASSERT_TRUE(pool.hostCodeBegins());
         EXPECT_TRUE(ran.wait());
         pool.hostCodeEnds();
       }},
      {"is in host code that waits for it",
       [](WorkerPool& pool, const auto& post, Countdown& ran) {
         ASSERT_TRUE(pool.hostCodeBegins());
         post();
         EXPECT_TRUE(ran.wait());
         pool.hostCodeEnds();
       }},
  };
  for (const Case& c : cases) {
    for (const auto delay : {0ms, 20ms}) {
      SCOPED_TRACE(std::string(c.name) + ", after " + std::to_string(delay.count()));
      std::this_thread::sleep_for(5ms);  // all threads wait
      Countdown ran(1);
      Countdown left(1);
      pool_->post([&] {
        c.act(
            *pool_, [&] { pool_->postAfter(delay, [&] { ran.arrive(); }); }, ran);
        left.arrive();
      });
      EXPECT_TRUE(ran.wait());
      EXPECT_TRUE(left.wait());
    }
  }
}

// What a task captured may be the host's, and do as it likes when it goes.
TEST_F(WorkerPoolTest, WhatATaskCapturedMayPostAndWaitWhenItGoes) {
  struct Asking {
    Asking(WorkerPool& pool_, std::atomic<int>& answered_) : pool(pool_), answered(answered_) {}
    ~Asking() {
      const auto answer = std::make_shared<Countdown>(1);
      pool.post([answer] { answer->arrive(); });
      answered += answer->wait(5s) ? 1 : -1000;
    }
    WorkerPool& pool;
    std::atomic<int>& answered;
  };
  std::atomic<int> answered{0};
  Countdown idle(3);  // all threads have started and sleep again, so that nobody is awake by chance
  for (int i = 0; i < 3; ++i) pool_->post([&] { idle.arrive(); });
  ASSERT_TRUE(idle.wait());
  const auto queue = pool_->makeSerialQueue();
  for (int round = 0; round < 4; ++round) {
    std::this_thread::sleep_for(20ms);
    Countdown ran(1);
    auto captured = std::make_shared<Asking>(*pool_, answered);
    // The last reference goes with the task.
    if (round % 2 == 0) {
      pool_->post([captured = std::move(captured), &ran] { ran.arrive(); });
    } else {
      queue->post([captured = std::move(captured), &ran] { ran.arrive(); });
    }
    ASSERT_TRUE(ran.wait());
    while (answered >= 0 && answered <= round) std::this_thread::sleep_for(1ms);
    ASSERT_GT(answered, round) << "nobody came";
  }
}

TEST_F(WorkerPoolTest, SurplusThreadsLeaveWhenTheyAreIdle) {
  const auto before = threadsOfProcess();
  Countdown inside(8);
  Countdown leave(1);
  Countdown left(8);
  for (int i = 0; i < 8; ++i) {
    pool_->post([&] {
      ASSERT_TRUE(pool_->hostCodeBegins());
      inside.arrive();
      EXPECT_TRUE(leave.wait());
      pool_->hostCodeEnds();
      left.arrive();
    });
  }
  ASSERT_TRUE(inside.wait());
  EXPECT_GE(threadsOfProcess(), before + 8);
  leave.arrive();
  ASSERT_TRUE(left.wait());
  const auto deadline = Clock::now() + 20s;
  while (threadsOfProcess() > before + 2 && Clock::now() < deadline) std::this_thread::sleep_for(50ms);
  EXPECT_LE(threadsOfProcess(), before + 2);
}

// The thread that was to wake for a delayed task may be the one that a task without delay wakes.
TEST_F(WorkerPoolTest, ABusyThreadDoesNotMakeDelayedTasksLate) {
  pool_->postAfter(1h, [] {});
  for (int round = 0; round < 10; ++round) {
    std::this_thread::sleep_for(5ms);  // all threads wait
    Countdown done(2);
    const auto begun = Clock::now();
    Clock::time_point ran;
    pool_->postAfter(20ms, [&] {
      ran = Clock::now();
      done.arrive();
    });
    pool_->post([&] {
      std::this_thread::sleep_for(300ms);
      done.arrive();
    });
    ASSERT_TRUE(done.wait());
    EXPECT_LT(ran - begun, 250ms);
  }
}

TEST_F(WorkerPoolTest, DelayedTasksRunWhenTheyAreDueAndInOrder) {
  const auto queue = pool_->makeSerialQueue();
  std::vector<int> order;
  Countdown done(3);
  const auto begun = Clock::now();
  const auto note = [&](int which) {
    return [&, which] {
      order.push_back(which);
      done.arrive();
    };
  };
  queue->postAfter(1s, note(3));
  queue->postAfter(-5s, note(1));
  queue->post(note(2));
  queue->postAfter(std::chrono::seconds::max(), [] { FAIL() << "a wait without end has ended"; });
  ASSERT_TRUE(done.wait());
  EXPECT_GE(Clock::now() - begun, 1s);
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TEST_F(WorkerPoolTest, AWallClockDeadlineThatHasPassedRunsAtOnce) {
  Countdown done(2);
  pool_->postAt(std::chrono::system_clock::now() - 1h, [&] { done.arrive(); });
  pool_->postAt(std::chrono::system_clock::now() + 50ms, [&] { done.arrive(); });
  EXPECT_TRUE(done.wait());
}

TEST_F(WorkerPoolTest, StopDropsWhatWaitsAndDoesNotWaitForHostCode) {
  const auto captured = std::make_shared<int>(0);
  Countdown inside(1);
  Countdown release(1);
  Countdown left(1);
  pool_->post([&] {
    ASSERT_TRUE(pool_->hostCodeBegins());
    inside.arrive();
    EXPECT_TRUE(release.wait());
    pool_->hostCodeEnds();
    left.arrive();
  });
  ASSERT_TRUE(inside.wait());
  pool_->postAfter(1h, [captured] { FAIL(); });
  EXPECT_EQ(captured.use_count(), 2);
  pool_->stop();
  EXPECT_EQ(captured.use_count(), 1) << "what waited is freed";
  EXPECT_FALSE(pool_->hostCodeBegins()) << "no host code begins after the end";
  pool_->post([] { FAIL() << "a task ran after the end"; });
  release.arrive();
  EXPECT_TRUE(left.wait());
}

}  // namespace
}  // namespace qlczephra::platform
