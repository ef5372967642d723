// The process's worker threads: few, shared by all queues, more only while host code holds some of them up.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <deque>
#include <list>
#include <map>
#include <memory>
#include <thread>
#include <vector>

#include "platform/mutex.h"
#include "platform/queue.h"

namespace qlczephra::platform {

// Threads start with the first task. Three of them stay; more are started when all that there are sit in host code, and
// leave again after a few idle seconds. Any thread may call any operation.
//
// Tasks must not throw; what they throw nevertheless (memory ran out) is dropped with a line of the process log.
class WorkerPool : public WorkerQueue, public std::enable_shared_from_this<WorkerPool> {
 public:
  [[nodiscard]] static std::shared_ptr<WorkerPool> make() { return std::shared_ptr<WorkerPool>(new WorkerPool); }
  ~WorkerPool() override;

  void post(Task task) override;
  // Before all that waits.
  void postFirst(Task task);
  // As the last deed of the calling worker's task, which comes to it then, unless another worker is awake and quicker:
  // so none is woken, which costs more than most tasks. Nothing of the host's may be destroyed between this and the end
  // of the task: it might wait for what was posted. On other threads, and in host code, as post().
  void postLast(Task task);
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
    std::shared_ptr<CondVar> called = std::make_shared<CondVar>();
    int hostDepth = 0;  // host code may call back into the library
    bool ended = false;
  };
  static thread_local Worker* currentWorker;
  // What must not happen under the mutex and so happens when this object goes: joining threads that have ended, the
  // last deed of which may be host code, and waking one, which would only have to wait for the mutex.
  struct Aftermath {
    std::list<Worker> ended;
    std::shared_ptr<CondVar> called;
    ~Aftermath();
  };

  WorkerPool() = default;
  void work(Worker& self);
  [[nodiscard]] bool takeTask(Worker& self, Task& task) QLCZ_EXCLUDES(mutex_);
  void waitForCall(Worker& self, Clock::time_point longest) QLCZ_REQUIRES(mutex_);
  // Has an idle worker look at what there is to do, unless enough are on their way. None when all are awake, who look
  // themselves before they sleep.
  void callOne(Aftermath& aftermath) QLCZ_REQUIRES(mutex_);
  // After something was added: sees to it that a thread takes it.
  void announce(Aftermath& aftermath) QLCZ_REQUIRES(mutex_);
  // The calling thread, if it is one of the pool's.
  [[nodiscard]] Worker* self() const noexcept;
  // Whether that will look what is to be done when its task ends.
  [[nodiscard]] bool comesItself() const noexcept QLCZ_REQUIRES(mutex_) {
    return self() != nullptr && self()->hostDepth == 0;
  }
  [[nodiscard]] bool nobodyKeepsTime() const QLCZ_REQUIRES(mutex_) {
    return !delayed_.empty() && delayed_.begin()->first < timekeeperWaitsUntil_;
  }
  bool startWorker(Aftermath& aftermath) QLCZ_REQUIRES(mutex_);  // false when the system has no thread to give
  [[nodiscard]] std::size_t freeWorkers() const QLCZ_REQUIRES(mutex_) { return running_ - inHostCode_; }

  Mutex mutex_;
  std::deque<Task> ready_ QLCZ_GUARDED_BY(mutex_);
  std::multimap<Clock::time_point, Task> delayed_ QLCZ_GUARDED_BY(mutex_);
  std::list<Worker> workers_ QLCZ_GUARDED_BY(mutex_);
  // Those that wait and were not called; who has waited for the shortest time is the last and called first.
  std::vector<Worker*> idle_ QLCZ_GUARDED_BY(mutex_);
  std::size_t called_ QLCZ_GUARDED_BY(mutex_) = 0;  // those that were called and have not come yet
  // The one of them that wakes for the first delayed task. The others sleep on.
  Worker* timekeeper_ QLCZ_GUARDED_BY(mutex_) = nullptr;
  Clock::time_point timekeeperWaitsUntil_ QLCZ_GUARDED_BY(mutex_) = Clock::time_point::max();
  std::size_t running_ QLCZ_GUARDED_BY(mutex_) = 0;
  std::size_t inHostCode_ QLCZ_GUARDED_BY(mutex_) = 0;
  std::atomic<bool> stopping_{false};  // set under the mutex
};

}  // namespace qlczephra::platform
