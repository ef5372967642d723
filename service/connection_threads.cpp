#include "service/connection_threads.h"

#include <utility>

namespace qlczephra::service {

void ConnectionThreads::run(std::function<void()> task) {
  const platform::MutexLock lock(mutex_);
  tasks_.push_back(std::move(task));
  if (tasks_.size() > idle_ && threads_.size() < most_) {
    threads_.emplace_back([this] { work(); });
  }
  changed_.notifyOne();
}

void ConnectionThreads::finish() {
  std::vector<std::thread> threads;
  {
    const platform::MutexLock lock(mutex_);
    finishing_ = true;
    threads.swap(threads_);
    changed_.notifyAll();
  }
  for (std::thread& thread : threads) thread.join();
}

void ConnectionThreads::work() {
  for (;;) {
    std::function<void()> task;
    {
      const platform::MutexLock lock(mutex_);
      ++idle_;
      while (tasks_.empty() && !finishing_) changed_.wait(mutex_);
      --idle_;
      if (tasks_.empty()) return;
      task = std::move(tasks_.front());
      tasks_.pop_front();
    }
    task();
  }
}

}  // namespace qlczephra::service
