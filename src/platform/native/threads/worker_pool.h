// The process's worker threads: few, shared by all queues, more only while host code holds some of them up.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <list>
#include <map>
#include <memory>
#include <thread>

#include "platform/mutex.h"
#include "platform/queue.h"

namespace qlczephra::platform {

// Threads start with the first task. Two of them stay; more are started when all that there are sit in host code, and
// leave again after a few idle seconds. Any thread may call any operation.
//
// Tasks must not throw; what they throw nevertheless (memory ran out) is dropped with a line of the process log.
class WorkerPool : public WorkerQueue, public std::enable_shared_from_this<WorkerPool> {
 public:
  [[nodiscard]] static std::shared_ptr<WorkerPool> make() { return std::shared_ptr<WorkerPool>(new WorkerPool); }
  ~WorkerPool() override;

  // Throws std::bad_alloc, and std::system_error when there is no worker and none can be started. Nothing is posted
  // then. On a worker's thread only memory can be short.
  void post(Task task) override;
  // Moves prepared tasks into the pool, which needs no memory. Returns false, and leaves them where they are, when
  // there is no worker and none can be started.
  [[nodiscard]] bool tryPost(std::list<Task>& tasks) noexcept;
  // Throws as post().
  void postAfter(std::chrono::nanoseconds delay, Task task);
  void postAt(std::chrono::system_clock::time_point deadline, Task task) override;
  [[nodiscard]] std::shared_ptr<SerialQueue> makeSerialQueue();

  // Bracket host code on the calling thread, or whatever else may keep it long; no effect on threads that are not the
  // pool's. False once stop() was called.
  bool hostCodeBegins() noexcept;
  void hostCodeEnds() noexcept;

  // Drops what has not begun, and waits for the threads that are not in host code; those inside it end when it returns.
  // Later calls do nothing.
  void stop();

 private:
  using Clock = std::chrono::steady_clock;
  // Guarded by the pool's mutex.
  struct Worker {
    const WorkerPool* pool = nullptr;
    std::thread thread;
    int hostDepth = 0;  // host code may call back into the library
    bool ended = false;
  };
  static thread_local Worker* currentWorker;

  WorkerPool() = default;
  void work(Worker& self);
  [[nodiscard]] bool takeTask(std::list<Task>& task) QLCZ_EXCLUDES(mutex_);
  void waitUntil(Clock::time_point longest) QLCZ_REQUIRES(mutex_);
  // Joins the threads that have ended.
  void joinEnded() QLCZ_EXCLUDES(mutex_);
  // The calling thread, if it is one of the pool's.
  [[nodiscard]] Worker* self() const noexcept;
  // Returns whether there is a worker, after starting those that are to be there and can be had.
  bool startWorkers() noexcept QLCZ_REQUIRES(mutex_);
  bool startWorker() noexcept QLCZ_REQUIRES(mutex_);  // false when the system has no thread to give
  [[nodiscard]] std::size_t freeWorkers() const QLCZ_REQUIRES(mutex_) { return running_ - inHostCode_; }

  Mutex mutex_;
  CondVar changed_;
  std::list<Task> ready_ QLCZ_GUARDED_BY(mutex_);
  // Each in a list of its own, so that it can be moved to `ready_` without memory.
  std::multimap<Clock::time_point, std::list<Task>> delayed_ QLCZ_GUARDED_BY(mutex_);
  std::list<Worker> workers_ QLCZ_GUARDED_BY(mutex_);
  std::size_t running_ QLCZ_GUARDED_BY(mutex_) = 0;
  std::size_t inHostCode_ QLCZ_GUARDED_BY(mutex_) = 0;
  std::atomic<bool> stopping_{false};  // set under the mutex
};

// Runs a task and releases what it captured. What it throws becomes a line of the process log.
void runTask(Task& task) noexcept;

}  // namespace qlczephra::platform
