#include "sim/scheduler.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace qlczephra::sim {

using std::chrono::milliseconds;

class Scheduler::Queue : public platform::SerialQueue {
 public:
  Queue(Scheduler& scheduler, std::string label)
      : scheduler_(scheduler), lane_(std::make_shared<Lane>(Lane{std::move(label), {}})) {}

  void post(platform::Task task) override { scheduler_.append(lane_, std::move(task)); }
  void postAfter(std::chrono::seconds delay, platform::Task task) override {
    constexpr std::chrono::seconds longest = std::chrono::hours(24) * 366 * 1000;
    scheduler_.appendAfter(lane_, std::min(delay, longest), std::move(task));
  }

 private:
  Scheduler& scheduler_;
  const std::shared_ptr<Lane> lane_;
};

std::shared_ptr<platform::SerialQueue> Scheduler::makeQueue(std::string label) {
  return std::make_shared<Queue>(*this, std::move(label));
}

void Scheduler::run(std::string label, platform::Task task) {
  append(std::make_shared<Lane>(Lane{std::move(label), {}}), std::move(task));
}

void Scheduler::runAfter(std::string label, milliseconds delay, platform::Task task) {
  appendAfter(std::make_shared<Lane>(Lane{std::move(label), {}}), delay, std::move(task));
}

void Scheduler::runAt(std::string label, Clocks::Wall deadline, platform::Task task) {
  if (stopped_) return;
  auto lane = std::make_shared<Lane>(Lane{std::move(label), {}});
  wallTimers_.emplace(deadline, Timer{std::move(lane), std::move(task)});
}

void Scheduler::append(const std::shared_ptr<Lane>& lane, platform::Task task) {
  if (stopped_) return;
  if (lane->tasks.empty()) ready_.push_back(lane);
  lane->tasks.push_back(std::move(task));
}

void Scheduler::appendAfter(const std::shared_ptr<Lane>& lane, milliseconds delay, platform::Task task) {
  if (stopped_) return;
  monotonicTimers_.emplace(clocks_.elapsed() + std::max(delay, milliseconds(0)), Timer{lane, std::move(task)});
}

bool Scheduler::step(milliseconds limit) {
  if (!currentLane_.empty()) throw std::logic_error("a step inside a step");
  fireDueTimers();
  if (ready_.empty() || random_.chance(lateness_)) {
    const milliseconds next = nextTimer();
    if (next <= limit && next != forever) {
      clocks_.passUntil(next);
      fireDueTimers();
    } else if (ready_.empty()) {
      return false;
    }
  }
  runTaskOf(random_.below(ready_.size()));
  return true;
}

milliseconds Scheduler::nextTimer() const {
  milliseconds next = forever;
  if (!monotonicTimers_.empty()) next = monotonicTimers_.begin()->first;
  if (!wallTimers_.empty()) {
    const auto wait = std::chrono::ceil<milliseconds>(wallTimers_.begin()->first - clocks_.wall());
    next = std::min(next, clocks_.elapsed() + std::max(wait, milliseconds(0)));
  }
  return next;
}

void Scheduler::fireDueTimers() {
  const auto fire = [this](auto& timers, auto now) {
    while (!timers.empty() && timers.begin()->first <= now) {
      Timer timer = std::move(timers.extract(timers.begin()).mapped());
      append(timer.lane, std::move(timer.task));
    }
  };
  fire(monotonicTimers_, clocks_.elapsed());
  fire(wallTimers_, clocks_.wall());
}

void Scheduler::runTaskOf(std::size_t readyIndex) {
  const std::shared_ptr<Lane> lane = ready_[readyIndex];
  history_.note(lane->label, "step");
  platform::Task task = std::move(lane->tasks.front());
  struct Running {
    std::string& lane;
    ~Running() { lane.clear(); }
  } const running{currentLane_};
  currentLane_ = lane->label;
  task();
  task = nullptr;  // what it captured goes while the step lasts
  if (stopped_) return;
  lane->tasks.pop_front();
  if (lane->tasks.empty()) ready_.erase(std::find(ready_.begin(), ready_.end(), lane));
}

void Scheduler::stop() {
  stopped_ = true;
  // What the tasks captured may let go of further objects, but nothing can be posted any more.
  for (const auto& lane : std::exchange(ready_, {})) lane->tasks.clear();
  std::exchange(monotonicTimers_, {}).clear();
  std::exchange(wallTimers_, {}).clear();
}

}  // namespace qlczephra::sim
