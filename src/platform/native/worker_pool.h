// The process's worker threads: few, shared by all queues, more only while host code holds some of them up.
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
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

  void post(Task task) override;
  void postAfter(std::chrono::nanoseconds delay, Task task);
  void postAt(std::chrono::system_clock::time_point deadline, Task task) override;
  [[nodiscard]] std::shared_ptr<SerialQueue> makeSerialQueue();

  // Bracket host code on the calling thread; no effect on threads that are not the pool's. False once stop() was
  // called.
  bool hostCodeBegins() noexcept;
  void hostCodeEnds() noexcept;

  // Drops what has not begun, and waits for the threads that are not in host code; those inside it end when it returns.
  // Later calls do nothing.
  void stop();

 private:
  using Clock = std::chrono::steady_clock;
  struct Worker {
    std::thread thread;
    int hostDepth = 0;  // guarded by the pool's mutex; host code may call back into the library
    bool ended = false;
  };
  static thread_local Worker* currentWorker;

  WorkerPool() = default;
  void work(Worker& self);
  [[nodiscard]] bool takeTask(Task& task) QLCZ_EXCLUDES(mutex_);
  // Threads that have ended and are joined with this object, which must not happen under the mutex: the last that a
  // thread does may be host code.
  struct Ended {
    std::list<Worker> workers;
    ~Ended();
  };
  bool startWorker(Ended& ended) QLCZ_REQUIRES(mutex_);  // false when the system has no thread to give
  [[nodiscard]] std::size_t freeWorkers() const QLCZ_REQUIRES(mutex_) { return running_ - inHostCode_; }

  Mutex mutex_;
  CondVar changed_;
  std::deque<Task> ready_ QLCZ_GUARDED_BY(mutex_);
  std::multimap<Clock::time_point, Task> delayed_ QLCZ_GUARDED_BY(mutex_);
  std::list<Worker> workers_ QLCZ_GUARDED_BY(mutex_);
  std::size_t running_ QLCZ_GUARDED_BY(mutex_) = 0;
  std::size_t inHostCode_ QLCZ_GUARDED_BY(mutex_) = 0;
  bool stopping_ QLCZ_GUARDED_BY(mutex_) = false;
};

}  // namespace qlczephra::platform
