#include "platform/native/threads/worker_pool.h"

#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <optional>
#include <system_error>
#include <utility>

#include "platform/native/base/native_log.h"
#include "platform/native/threads/blocked_signals.h"
#include "platform/native/threads/serial_queue.h"

namespace qlczephra::platform {

namespace {

constexpr std::size_t permanentWorkers = 2;
constexpr std::size_t maximumWorkers = 1024;
constexpr std::chrono::seconds surplusIdleTime{5};
// How soon a moved wall clock is noticed.
constexpr std::chrono::seconds longestBlindWait{20};

}  // namespace

void runTask(Task& task) noexcept {
  try {
    task();
  } catch (...) {
    try {
      nativeLog().process("qlczephra: a task failed for want of memory");
    } catch (...) {  // nor is there any for the line
    }
  }
  // What the task captured goes on this thread, before the next task begins.
  task = nullptr;
}

thread_local WorkerPool::Worker* WorkerPool::currentWorker = nullptr;

WorkerPool::~WorkerPool() {
  stop();
}

WorkerPool::Worker* WorkerPool::self() const noexcept {
  return currentWorker != nullptr && currentWorker->pool == this ? currentWorker : nullptr;
}

void WorkerPool::post(Task task) {
  std::list<Task> added;
  added.push_back(std::move(task));
  if (!tryPost(added)) throw std::system_error(EAGAIN, std::generic_category(), "no worker thread");
}

bool WorkerPool::tryPost(std::list<Task>& tasks) noexcept {
  std::list<Task> dropped;
  const MutexLock lock(mutex_);
  if (stopping_) {
    dropped.swap(tasks);
    return true;
  }
  if (!startWorkers()) return false;
  const bool several = tasks.size() > 1;
  ready_.splice(ready_.end(), tasks);
  if (several) {
    changed_.notifyAll();
  } else {
    changed_.notifyOne();
  }
  return true;
}

void WorkerPool::postAfter(std::chrono::nanoseconds delay, Task task) {
  if (delay <= std::chrono::nanoseconds::zero()) {
    post(std::move(task));
    return;
  }
  std::multimap<Clock::time_point, std::list<Task>> added;
  const auto now = Clock::now();
  // A delay beyond the clock's range never ends, as it should.
  const auto due = delay > Clock::time_point::max() - now ? Clock::time_point::max() : now + delay;
  added.emplace(due, std::list<Task>{})->second.push_back(std::move(task));
  const MutexLock lock(mutex_);
  if (stopping_) return;
  if (!startWorkers()) throw std::system_error(EAGAIN, std::generic_category(), "no worker thread");
  delayed_.merge(added);
  // All wait for the first of them, so that any may be busy then.
  if (delayed_.begin()->first == due) changed_.notifyAll();
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
  const MutexLock lock(mutex_);
  if (stopping_) return false;
  if (worker->hostDepth++ > 0) return true;
  ++inHostCode_;
  // What this thread would have done next is for another one to do.
  if (!ready_.empty()) changed_.notifyOne();
  if (freeWorkers() == 0 && !(ready_.empty() && delayed_.empty())) startWorker();
  return true;
}

void WorkerPool::hostCodeEnds() noexcept {
  Worker* const worker = self();
  if (worker == nullptr) return;
  const MutexLock lock(mutex_);
  if (--worker->hostDepth == 0) --inHostCode_;
}

bool WorkerPool::startWorkers() noexcept {
  while ((running_ < permanentWorkers || (freeWorkers() == 0 && running_ < maximumWorkers)) && startWorker()) {
  }
  return running_ != 0;
}

bool WorkerPool::startWorker() noexcept {
  if (running_ >= maximumWorkers) return false;
  const BlockedSignals blocked;
  std::list<Worker> started;
  try {
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
  std::list<Task> task;
  while (takeTask(task)) {
    runTask(task.front());
    task.clear();
    joinEnded();
  }
  currentWorker = nullptr;  // the thread's objects go later, and may be the host's
  const MutexLock lock(mutex_);
  self.ended = true;
}

// Waits for the next task; false when the thread is to end.
bool WorkerPool::takeTask(std::list<Task>& task) {
  const MutexLock lock(mutex_);
  std::optional<Clock::time_point> idleSince;
  for (;;) {
    if (stopping_) break;
    if (!delayed_.empty()) {
      const auto now = Clock::now();
      for (; !delayed_.empty() && delayed_.begin()->first <= now; delayed_.erase(delayed_.begin())) {
        ready_.splice(ready_.end(), delayed_.begin()->second);
      }
    }
    if (!ready_.empty()) {
      task.splice(task.end(), ready_, ready_.begin());
      // Tasks that came due together were announced to nobody.
      if (!ready_.empty()) changed_.notifyOne();
      return true;
    }
    if (freeWorkers() <= permanentWorkers) {
      waitUntil(Clock::time_point::max());
      continue;
    }
    const auto now = Clock::now();
    if (!idleSince) idleSince = now;
    if (now - *idleSince >= surplusIdleTime) break;
    waitUntil(*idleSince + surplusIdleTime);
  }
  --running_;
  return false;
}

void WorkerPool::waitUntil(Clock::time_point longest) {
  const auto until = delayed_.empty() ? longest : std::min(longest, delayed_.begin()->first);
  if (until == Clock::time_point::max()) {
    changed_.wait(mutex_);
  } else {
    changed_.waitUntil(mutex_, until);
  }
}

void WorkerPool::joinEnded() {
  std::list<Worker> ended;
  {
    const MutexLock lock(mutex_);
    if (workers_.size() == running_) return;
    for (auto worker = workers_.begin(); worker != workers_.end();) {
      const auto next = std::next(worker);
      if (worker->ended) ended.splice(ended.end(), workers_, worker);
      worker = next;
    }
  }
  // The last that such a thread does may be host code.
  for (Worker& worker : ended) worker.thread.join();
}

void WorkerPool::stop() {
  std::list<Task> ready;
  std::multimap<Clock::time_point, std::list<Task>> delayed;
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
