// Runs the tasks of a simulated process, one at a time on the caller's thread, in an order that the seed decides.
//
// A lane is what runs its tasks one after the other: a serial queue, or a single task on a worker thread. One step
// takes one task of a lane that has any, every such lane being as likely as the others. Time stands still while tasks
// are ready and jumps to the next timer when none is; so hours of waiting cost nothing.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/queue.h"
#include "sim/clocks.h"
#include "sim/history.h"
#include "sim/random.h"

namespace qlczephra::sim {

class Scheduler {
 public:
  static constexpr std::chrono::milliseconds forever = std::chrono::milliseconds::max();

  // All three outlive the object.
  Scheduler(Random& random, Clocks& clocks, History& history) : random_(random), clocks_(clocks), history_(history) {}
  ~Scheduler() { stop(); }
  Scheduler(const Scheduler&) = delete;
  Scheduler& operator=(const Scheduler&) = delete;

  // The scheduler outlives the queue.
  [[nodiscard]] std::shared_ptr<platform::SerialQueue> makeQueue(std::string label);

  // A task on a lane of its own: at once, after a delay on the monotonic clock, or when the wall clock shows a time.
  void run(std::string label, platform::Task task);
  void runAfter(std::string label, std::chrono::milliseconds delay, platform::Task task);
  void runAt(std::string label, Clocks::Wall deadline, platform::Task task);

  // Runs one task; when none is ready, lets time pass until the next timer first, but not beyond `limit` (of
  // Clocks::elapsed()). False when there was nothing to do until then. Not to be called inside a task.
  bool step(std::chrono::milliseconds limit = forever);

  // The probability with which a step lets time pass although tasks are ready, as on a machine that is slow to run
  // them.
  void setLateness(double probability) noexcept { lateness_ = probability; }

  // The label of the lane whose task is running; empty outside of steps.
  [[nodiscard]] const std::string& currentLane() const noexcept { return currentLane_; }

  // Drops every task and timer, and all that are posted from now on.
  void stop();

 private:
  struct Lane {
    std::string label;
    std::deque<platform::Task> tasks;
  };
  struct Timer {
    std::shared_ptr<Lane> lane;
    platform::Task task;
  };
  class Queue;

  void append(const std::shared_ptr<Lane>& lane, platform::Task task);
  void appendAfter(const std::shared_ptr<Lane>& lane, std::chrono::milliseconds delay, platform::Task task);
  // When the next timer is due, `forever` without one.
  [[nodiscard]] std::chrono::milliseconds nextTimer() const;
  void fireDueTimers();
  void runTaskOf(std::size_t readyIndex);

  Random& random_;
  Clocks& clocks_;
  History& history_;
  double lateness_ = 0;
  bool stopped_ = false;
  std::string currentLane_;
  std::vector<std::shared_ptr<Lane>> ready_;  // lanes with tasks
  std::multimap<std::chrono::milliseconds, Timer> monotonicTimers_;
  std::multimap<Clocks::Wall, Timer> wallTimers_;
};

}  // namespace qlczephra::sim
