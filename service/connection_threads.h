// One thread for every connection that is open at the same time; threads that fall idle serve later ones.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <thread>
#include <vector>

#include "platform/mutex.h"

namespace qlczephra::service {

class ConnectionThreads {
 public:
  // Connections beyond `most` wait for a thread.
  explicit ConnectionThreads(std::size_t most) : most_(most) {}
  ConnectionThreads(const ConnectionThreads&) = delete;
  ConnectionThreads& operator=(const ConnectionThreads&) = delete;
  ~ConnectionThreads() { finish(); }

  void run(std::function<void()> task);
  // Runs what is waiting, then ends the threads. Not from a task.
  void finish();

 private:
  void work();

  const std::size_t most_;
  platform::Mutex mutex_;
  platform::CondVar changed_;
  std::deque<std::function<void()>> tasks_ QLCZ_GUARDED_BY(mutex_);
  std::vector<std::thread> threads_ QLCZ_GUARDED_BY(mutex_);
  std::size_t idle_ QLCZ_GUARDED_BY(mutex_) = 0;
  bool finishing_ QLCZ_GUARDED_BY(mutex_) = false;
};

}  // namespace qlczephra::service
