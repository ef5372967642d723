// Event loop of one thread: waits for descriptors, for moments in time and for tasks from other threads.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "platform/native/threads/loop_queue.h"

namespace qlczephra::platform {

// Everything but `queue` and `stop` belongs to the thread that runs the loop. A handler may watch, unwatch, set and
// cancel whatever it likes, itself included. What a handler or a task throws (memory ran out) ends only that one.
class EventLoop {
 public:
  using Clock = std::chrono::steady_clock;
  using Handler = std::function<void(std::uint32_t events)>;

  // Runs a task at a moment that can be set anew and cancelled. Only making one needs memory.
  class Timer {
   public:
    Timer(EventLoop& loop, Task task);
    ~Timer();
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;
    void set(Clock::time_point when) noexcept { when_ = when; }
    void cancel() noexcept { when_.reset(); }
    [[nodiscard]] const std::optional<Clock::time_point>& when() const noexcept { return when_; }

   private:
    friend class EventLoop;
    EventLoop& loop_;
    const Task task_;
    std::optional<Clock::time_point> when_;
  };

  EventLoop();  // throws std::system_error when descriptors are short
  ~EventLoop();
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  // Returns after `stop`. What is in the queue then stays there.
  void run() noexcept;
  // Any thread.
  void stop() noexcept;
  // Its tasks run on the loop's thread in the order in which they were posted. Outlives the loop if need be.
  [[nodiscard]] const std::shared_ptr<LoopQueue>& queue() const noexcept { return queue_; }

  // `events` are epoll's, level-triggered. A second call for a descriptor replaces the first.
  void watch(int descriptor, std::uint32_t events, Handler handler);
  void unwatch(int descriptor) noexcept;

 private:
  struct Watched {
    std::uint32_t generation = 0;
    Handler handler;
  };

  [[nodiscard]] int millisecondsToNextTimer() const noexcept;
  void dispatch(std::uint64_t token, std::uint32_t events);
  void runDueTimers() noexcept;

  const std::shared_ptr<LoopQueue> queue_ = std::make_shared<LoopQueue>();
  const int epoll_;
  std::atomic<bool> stopping_ = false;
  std::unordered_map<int, Watched> watched_;
  // Tells an event of a closed descriptor from one of its successor with the same number.
  std::uint32_t lastGeneration_ = 0;
  std::vector<Timer*> timers_;  // a handful
};

}  // namespace qlczephra::platform
