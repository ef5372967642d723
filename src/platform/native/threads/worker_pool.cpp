#include "platform/native/threads/worker_pool.h"

#include <pthread.h>

#include <algorithm>
#include <exception>
#include <limits>
#include <optional>
#include <utility>

#include "platform/native/base/native_log.h"
#include "platform/native/threads/blocked_signals.h"
#include "platform/native/threads/serial_queue.h"

namespace qlczephra::platform {

namespace {

constexpr std::size_t permanentWorkers = 3;
constexpr std::size_t maximumWorkers = 1024;
constexpr std::chrono::seconds surplusIdleTime{5};
// How soon a moved wall clock is noticed.
constexpr std::chrono::seconds longestBlindWait{20};

void run(Task& task) noexcept {
  try {
    task();
  } catch (...) {
    nativeLog().process("qlczephra: a task failed for want of memory");
  }
  // What the task captured goes on this thread, before the next task begins.
  task = nullptr;
}

}  // namespace

thread_local WorkerPool::Worker* WorkerPool::currentWorker = nullptr;

WorkerPool::~WorkerPool() {
  stop();
}

WorkerPool::Worker* WorkerPool::self() const noexcept {
  return currentWorker != nullptr && currentWorker->pool == this ? currentWorker : nullptr;
}

void WorkerPool::post(Task task) {
  Aftermath aftermath;
  const MutexLock lock(mutex_);
  if (stopping_) return;
  ready_.push_back(std::move(task));
  announce(aftermath);
}

void WorkerPool::postLast(Task task) {
  Aftermath aftermath;
  const MutexLock lock(mutex_);
  if (stopping_) return;
  ready_.push_back(std::move(task));
  if (!comesItself()) announce(aftermath);
}

void WorkerPool::postFirst(Task task) {
  Aftermath aftermath;
  const MutexLock lock(mutex_);
  if (stopping_) return;
  ready_.push_front(std::move(task));
  announce(aftermath);
}

void WorkerPool::postAfter(std::chrono::nanoseconds delay, Task task) {
  if (delay <= std::chrono::nanoseconds::zero()) {
    post(std::move(task));
    return;
  }
  Aftermath aftermath;
  const MutexLock lock(mutex_);
  if (stopping_) return;
  const auto now = Clock::now();
  // A delay beyond the clock's range never ends, as it should.
  const auto due = delay > Clock::time_point::max() - now ? Clock::time_point::max() : now + delay;
  delayed_.emplace(due, std::move(task));
  announce(aftermath);
}

void WorkerPool::announce(Aftermath& aftermath) {
  // Where no thread can be had, the task waits for one of those there are, or for the next post.
  while ((running_ < permanentWorkers || (freeWorkers() == 0 && running_ < maximumWorkers)) && startWorker(aftermath)) {
  }
  callOne(aftermath);
}

void WorkerPool::callOne(Aftermath& aftermath) {
  const bool enough = ready_.size() <= called_ && (!nobodyKeepsTime() || called_ != 0);
  if (idle_.empty() || enough) return;
  // The timekeeper is called last, since another one would have to wake to keep the time in its place.
  const bool lastKeepsTime = idle_.size() > 1 && idle_.back() == timekeeper_;
  const auto which = idle_.end() - (lastKeepsTime ? 2 : 1);
  Worker& called = **which;
  idle_.erase(which);
  ++called_;
  aftermath.called = called.called;
}

void WorkerPool::postAt(std::chrono::system_clock::time_point deadline, Task task) {
  const auto remaining = deadline - std::chrono::system_clock::now();
  if (remaining <= std::chrono::system_clock::duration::zero()) {
    post(std::move(task));
    return;
  }
  // The wall clock may be moved meanwhile, so a long wait looks at it again and again.
  const auto wait = std::min<std::chrono::nanoseconds>(remaining, longestBlindWait);
  postAfter(wait, [weak = weak_from_this(), deadline, task = std::move(task)]() mutable {
    if (const auto pool = weak.lock()) pool->postAt(deadline, std::move(task));
  });
}

std::shared_ptr<SerialQueue> WorkerPool::makeSerialQueue() {
  return std::make_shared<PoolSerialQueue>(shared_from_this());
}

bool WorkerPool::hostCodeBegins() noexcept {
  Worker* const worker = self();
  if (worker == nullptr) return !stopping_;
  Aftermath aftermath;
  const MutexLock lock(mutex_);
  if (stopping_) return false;
  if (worker->hostDepth++ > 0) return true;
  ++inHostCode_;
  if (ready_.empty() && !nobodyKeepsTime()) return true;
  // What this thread would have done next is for another one to do.
  callOne(aftermath);
  if (freeWorkers() == 0 && running_ < maximumWorkers) static_cast<void>(startWorker(aftermath));
  return true;
}

void WorkerPool::hostCodeEnds() noexcept {
  Worker* const worker = self();
  if (worker == nullptr) return;
  const MutexLock lock(mutex_);
  if (--worker->hostDepth == 0) --inHostCode_;
}

WorkerPool::Aftermath::~Aftermath() {
  if (called != nullptr) called->notifyOne();
  for (Worker& worker : ended) worker.thread.join();
}

bool WorkerPool::startWorker(Aftermath& aftermath) {
  for (auto worker = workers_.begin(); worker != workers_.end();) {
    const auto next = std::next(worker);
    if (worker->ended) aftermath.ended.splice(aftermath.ended.end(), workers_, worker);
    worker = next;
  }
  const BlockedSignals blocked;
  std::list<Worker> started;
  try {
    idle_.reserve(running_ + 1);  // so that waiting needs no memory
    Worker& worker = started.emplace_back();
    worker.pool = this;
    // The thread holds the pool, so that one that is still inside host code at the end has all that it needs.
    worker.thread = std::thread([self = shared_from_this(), &worker] { self->work(worker); });
  } catch (const std::exception&) {
    return false;
  }
  workers_.splice(workers_.end(), started);
  ++running_;
  return true;
}

void WorkerPool::work(Worker& self) {
  pthread_setname_np(pthread_self(), "qlczephra-work");
  currentWorker = &self;
  Task task;
  while (takeTask(self, task)) run(task);
  currentWorker = nullptr;  // the thread's objects go later, and may be the host's
  const MutexLock lock(mutex_);
  --running_;
  self.ended = true;
}

// Waits for the next task; false when the thread is to end.
bool WorkerPool::takeTask(Worker& self, Task& task) {
  Aftermath aftermath;
  const MutexLock lock(mutex_);
  std::optional<Clock::time_point> idleSince;
  for (;;) {
    if (stopping_) return false;
    if (!delayed_.empty()) {
      const auto now = Clock::now();
      while (!delayed_.empty() && delayed_.begin()->first <= now) {
        ready_.push_back(std::move(delayed_.extract(delayed_.begin()).mapped()));
      }
    }
    if (!ready_.empty()) {
      task = std::move(ready_.front());
      ready_.pop_front();
      // Tasks that came due together, or that a worker posted, were announced to nobody; and this thread may have been
      // the one that kept the time.
      callOne(aftermath);
      return true;
    }
    const bool surplus = freeWorkers() > permanentWorkers;
    if (!surplus) {
      waitForCall(self, Clock::time_point::max());
      continue;
    }
    const auto now = Clock::now();
    if (!idleSince) idleSince = now;
    if (now - *idleSince >= surplusIdleTime) {
      callOne(aftermath);
      return false;
    }
    waitForCall(self, *idleSince + surplusIdleTime);
  }
}

void WorkerPool::waitForCall(Worker& self, Clock::time_point longest) {
  auto wakeUp = longest;
  if (nobodyKeepsTime()) {
    timekeeper_ = &self;
    timekeeperWaitsUntil_ = delayed_.begin()->first;
    wakeUp = std::min(longest, timekeeperWaitsUntil_);
  }
  idle_.push_back(&self);
  if (wakeUp == Clock::time_point::max()) {
    self.called->wait(mutex_);
  } else {
    self.called->waitUntil(mutex_, wakeUp);
  }
  if (std::erase(idle_, &self) == 0) --called_;
  if (timekeeper_ == &self) {
    timekeeper_ = nullptr;
    timekeeperWaitsUntil_ = Clock::time_point::max();
  }
}

void WorkerPool::stop() {
  std::deque<Task> ready;
  std::multimap<Clock::time_point, Task> delayed;
  std::list<Worker> toJoin;
  {
    const MutexLock lock(mutex_);
    if (stopping_) return;
    stopping_ = true;
    ready.swap(ready_);
    delayed.swap(delayed_);
    for (Worker& worker : workers_) worker.called->notifyAll();
    for (auto worker = workers_.begin(); worker != workers_.end();) {
      const auto next = std::next(worker);
      if (worker->hostDepth > 0 || &*worker == currentWorker) {
        worker->thread.detach();
      } else {
        toJoin.splice(toJoin.end(), workers_, worker);
      }
      worker = next;
    }
  }
  for (Worker& worker : toJoin) worker.thread.join();
}

}  // namespace qlczephra::platform
