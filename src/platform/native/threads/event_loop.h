// Waits for descriptors, for moments in time and for tasks from other threads, on whichever thread runs it.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <unordered_map>

#include "platform/native/threads/mailbox.h"

namespace qlczephra::platform {

// Everything but `mailbox` and `stop` belongs to the thread that runs the loop, one at a time. A handler may watch,
// unwatch, set and cancel whatever it likes, itself included.
class EventLoop {
 public:
  using Clock = std::chrono::steady_clock;
  using Handler = std::function<void(std::uint32_t events)>;

  // Names a pending timer; a default one names none.
  struct Timer {
    Clock::time_point when;
    std::uint64_t number = 0;
    bool operator<(const Timer& other) const { return when != other.when ? when < other.when : number < other.number; }
  };

  // `summon` is called when somebody is to run the loop: see Mailbox.
  explicit EventLoop(std::function<void()> summon);  // throws std::system_error when descriptors are short
  ~EventLoop();
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  // Until `stop`, or until `idle` says before a wait that there is nothing to wait for and no task has come. True for
  // the latter: the loop is another's to run then, and nothing of it may be touched. What is in the mailbox after
  // `stop` stays there.
  [[nodiscard]] bool run(const std::function<bool()>& idle);
  // Any thread.
  void stop();
  // Its tasks run on the loop's thread in the order in which they were posted. Outlives the loop if need be.
  [[nodiscard]] const std::shared_ptr<Mailbox>& mailbox() const noexcept { return mailbox_; }

  // `events` are epoll's, level-triggered. A second call for a descriptor replaces the first.
  void watch(int descriptor, std::uint32_t events, Handler handler);
  void unwatch(int descriptor);

  Timer at(Clock::time_point when, Task task);
  // Nothing happens when the timer has run. Leaves the name empty.
  void cancel(Timer& timer);
  // When the loop is to be run again because of a timer.
  [[nodiscard]] std::optional<Clock::time_point> nextTimer() const;

 private:
  struct Watched {
    std::uint32_t generation = 0;
    Handler handler;
  };

  [[nodiscard]] int millisecondsToNextTimer() const;
  void dispatch(std::uint64_t token, std::uint32_t events);
  void runDueTimers();

  const int epoll_;
  const std::shared_ptr<Mailbox> mailbox_;
  std::atomic<bool> stopping_ = false;
  std::unordered_map<int, Watched> watched_;
  // Tells an event of a closed descriptor from one of its successor with the same number.
  std::uint32_t lastGeneration_ = 0;
  std::map<Timer, Task> timers_;
  std::uint64_t lastTimer_ = 0;
};

}  // namespace qlczephra::platform
