// A thread that does something a hundred times a second for as long as the object lives.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>

namespace qlczephra::bench {

class Replacing {
 public:
  explicit Replacing(std::function<void()> replace)
      : replace_(std::move(replace)), thread_([this](const std::stop_token& stop) { run(stop); }) {}

 private:
  void run(const std::stop_token& stop) {
    std::mutex mutex;
    std::condition_variable_any woken;
    std::unique_lock lock(mutex);
    while (!woken.wait_for(lock, stop, std::chrono::milliseconds(10), [] { return false; })) {
      if (stop.stop_requested()) return;
      replace_();
    }
  }

  std::function<void()> replace_;
  std::jthread thread_;  // last: it ends before the rest goes
};

}  // namespace qlczephra::bench
