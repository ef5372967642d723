// A platform on which all runs on the caller's thread and at the caller's word, over real files: what a call costs,
// without the network and without waiting for another thread.
#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "platform/native/files/native_file_store.h"
#include "platform/platform.h"

namespace qlczephra::bench {

class OneThread : public platform::Platform {
 public:
  // Runs what waits, and what that posts, until nothing waits. Delayed tasks are dropped.
  void run();
  // Ends the oldest request that was sent, here and now.
  void answer(platform::HttpOutcome outcome);

  std::shared_ptr<platform::SerialQueue> makeSerialQueue(const std::string&) override;
  platform::WorkerQueue& workers() override { return workers_; }
  platform::HttpSession& http() override { return http_; }
  platform::FileStore& files() override { return files_; }
  platform::Log& log() override { return log_; }
  std::chrono::steady_clock::time_point monotonicNow() override { return std::chrono::steady_clock::now(); }
  std::chrono::system_clock::time_point wallNow() override { return std::chrono::system_clock::now(); }
  std::uint32_t secureRandom() override { return 0; }

 private:
  using Tasks = std::deque<platform::Task>;

  struct Serial : platform::SerialQueue {
    explicit Serial(Tasks& tasks) : waiting(tasks) {}
    void post(platform::Task task) override { waiting.push_back(std::move(task)); }
    void postAfter(std::chrono::seconds, platform::Task) override {}
    Tasks& waiting;
  };
  struct Workers : platform::WorkerQueue {
    explicit Workers(Tasks& tasks) : waiting(tasks) {}
    void post(platform::Task task) override { waiting.push_back(std::move(task)); }
    void postAt(std::chrono::system_clock::time_point, platform::Task) override {}
    Tasks& waiting;
  };
  struct Session : platform::HttpSession {
    void send(platform::HttpRequest, platform::HttpCompletion completion) override {
      open.push_back(std::move(completion));
    }
    std::deque<platform::HttpCompletion> open;
  };
  struct NoLog : platform::Log {
    void write(const LogLine&) noexcept override {}
  };

  Tasks tasks_;
  Workers workers_{tasks_};
  Session http_;
  platform::NativeFileStore files_;
  NoLog log_;
};

}  // namespace qlczephra::bench
