#include "benchmarks/accepted_write/one_thread.h"

#include <utility>

#include "benchmarks/support/require.h"

namespace qlczephra::bench {

void OneThread::run() {
  while (!tasks_.empty()) {
    const platform::Task task = std::move(tasks_.front());
    tasks_.pop_front();
    task();
  }
}

void OneThread::answer(platform::HttpOutcome outcome) {
  require(!http_.open.empty(), "no request was sent");
  const platform::HttpCompletion completion = std::move(http_.open.front());
  http_.open.pop_front();
  completion(std::move(outcome));
}

std::shared_ptr<platform::SerialQueue> OneThread::makeSerialQueue(const std::string&) {
  return std::make_shared<Serial>(tasks_);
}

}  // namespace qlczephra::bench
