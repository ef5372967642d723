#include "platform/native/threads/loop_queue.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>

namespace qlczephra::platform {
namespace {

int makeEventDescriptor() {
  const int descriptor = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  if (descriptor < 0) throw std::system_error(errno, std::system_category(), "eventfd");
  return descriptor;
}

void increment(int descriptor) noexcept {
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(descriptor, &one, sizeof(one));
}

}  // namespace

LoopQueue::LoopQueue() : descriptor_(makeEventDescriptor()) {}

LoopQueue::~LoopQueue() {
  close();
}

void LoopQueue::post(Task task) {
  std::list<Task> added;
  added.push_back(std::move(task));
  post(added);
}

void LoopQueue::post(std::list<Task>& tasks) noexcept {
  const MutexLock lock(mutex_);
  if (closed_) return;
  const bool wasEmpty = tasks_.empty();
  tasks_.splice(tasks_.end(), tasks);
  if (wasEmpty) increment(descriptor_);
}

void LoopQueue::wake() noexcept {
  const MutexLock lock(mutex_);
  if (!closed_) increment(descriptor_);
}

bool LoopQueue::closed() noexcept {
  const MutexLock lock(mutex_);
  return closed_;
}

void LoopQueue::clearWakeUps() noexcept {
  std::uint64_t count = 0;
  [[maybe_unused]] const auto size = ::read(descriptor_, &count, sizeof(count));
}

std::list<Task> LoopQueue::take() noexcept {
  const MutexLock lock(mutex_);
  return std::exchange(tasks_, {});
}

std::list<Task> LoopQueue::close() noexcept {
  const MutexLock lock(mutex_);
  if (!std::exchange(closed_, true)) ::close(descriptor_);
  return std::exchange(tasks_, {});
}

}  // namespace qlczephra::platform
