#include "platform/native/mailbox.h"

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

}  // namespace

Mailbox::Mailbox() : descriptor_(makeEventDescriptor()) {}

Mailbox::~Mailbox() {
  close();
}

bool Mailbox::post(Task task) {
  const MutexLock lock(mutex_);
  if (closed_) return false;
  tasks_.push_back(std::move(task));
  if (tasks_.size() == 1) {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(descriptor_, &one, sizeof(one));
  }
  return true;
}

bool Mailbox::closed() {
  const MutexLock lock(mutex_);
  return closed_;
}

std::vector<Task> Mailbox::take() {
  const MutexLock lock(mutex_);
  if (closed_) return {};
  std::uint64_t count = 0;
  [[maybe_unused]] const auto read = ::read(descriptor_, &count, sizeof(count));
  return std::exchange(tasks_, {});
}

std::vector<Task> Mailbox::close() {
  const MutexLock lock(mutex_);
  if (closed_) return {};
  closed_ = true;
  ::close(descriptor_);
  return std::exchange(tasks_, {});
}

}  // namespace qlczephra::platform
