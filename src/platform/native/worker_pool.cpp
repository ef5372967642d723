#include "platform/native/worker_pool.h"

#include <pthread.h>

#include <algorithm>
#include <exception>
#include <limits>
#include <utility>

#include "platform/native/blocked_signals.h"
#include "platform/native/native_log.h"
#include "platform/native/serial_queue.h"

namespace qlczephra::platform {

namespace {

constexpr std::size_t permanentWorkers = 2;
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

void WorkerPool::post(Task task) {
  postAfter(std::chrono::nanoseconds::zero(), std::move(task));
}

void WorkerPool::postAfter(std::chrono::nanoseconds delay, Task task) {
  Ended ended;
  const MutexLock lock(mutex_);
  if (stopping_) return;
  // Where no thread can be had, the task waits for one of those there are, or for the next post.
  while ((running_ < permanentWorkers || (freeWorkers() == 0 && running_ < maximumWorkers)) && startWorker(ended)) {
  }
  if (delay <= std::chrono::nanoseconds::zero()) {
    ready_.push_back(std::move(task));
  } else {
    const auto now = Clock::now();
    // A delay beyond the clock's range never ends, as it should.
    const auto due = delay > Clock::time_point::max() - now ? Clock::time_point::max() : now + delay;
    delayed_.emplace(due, std::move(task));
  }
  changed_.notifyOne();
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
  Ended ended;
  const MutexLock lock(mutex_);
  if (stopping_) return false;
  if (currentWorker == nullptr || currentWorker->hostDepth++ > 0) return true;
  ++inHostCode_;
  const bool somethingWaits = !ready_.empty() || !delayed_.empty();
  if (somethingWaits && freeWorkers() == 0 && running_ < maximumWorkers) static_cast<void>(startWorker(ended));
  return true;
}

void WorkerPool::hostCodeEnds() noexcept {
  if (currentWorker == nullptr) return;
  const MutexLock lock(mutex_);
  if (--currentWorker->hostDepth == 0) --inHostCode_;
}

WorkerPool::Ended::~Ended() {
  for (Worker& worker : workers) worker.thread.join();
}

bool WorkerPool::startWorker(Ended& ended) {
  for (auto worker = workers_.begin(); worker != workers_.end();) {
    const auto next = std::next(worker);
    if (worker->ended) ended.workers.splice(ended.workers.end(), workers_, worker);
    worker = next;
  }
  const BlockedSignals blocked;
  std::list<Worker> started;
  try {
    Worker& worker = started.emplace_back();
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
  while (takeTask(task)) run(task);
  const MutexLock lock(mutex_);
  --running_;
  self.ended = true;
}

// Waits for the next task; false when the thread is to end.
bool WorkerPool::takeTask(Task& task) {
  const MutexLock lock(mutex_);
  const Clock::time_point idleSince = Clock::now();
  for (;;) {
    if (stopping_) return false;
    const auto now = Clock::now();
    while (!delayed_.empty() && delayed_.begin()->first <= now) {
      ready_.push_back(std::move(delayed_.extract(delayed_.begin()).mapped()));
    }
    if (!ready_.empty()) {
      task = std::move(ready_.front());
      ready_.pop_front();
      // Tasks that came due together were announced to nobody; and this thread may have been the one that was to wake
      // for the next delayed one.
      if (!ready_.empty() || !delayed_.empty()) changed_.notifyOne();
      return true;
    }
    const bool surplus = freeWorkers() > permanentWorkers;
    if (surplus && now - idleSince >= surplusIdleTime) {
      if (!delayed_.empty()) changed_.notifyOne();
      return false;
    }
    auto wakeUp = delayed_.empty() ? Clock::time_point::max() : delayed_.begin()->first;
    if (surplus) wakeUp = std::min(wakeUp, idleSince + surplusIdleTime);
    if (wakeUp == Clock::time_point::max()) {
      changed_.wait(mutex_);
    } else {
      changed_.waitUntil(mutex_, wakeUp);
    }
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
    changed_.notifyAll();
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
