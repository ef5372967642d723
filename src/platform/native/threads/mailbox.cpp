#include "platform/native/threads/mailbox.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
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

Mailbox::Mailbox(std::function<void()> summon) : summon_(std::move(summon)), descriptor_(makeEventDescriptor()) {}

Mailbox::~Mailbox() {
  close();
}

bool Mailbox::post(Task task) {
  std::size_t place = 0;
  {
    const MutexLock lock(mutex_);
    if (closed_) return false;
    place = tasks_.size();
    tasks_.push_back(std::move(task));
    endWaitOfOther();
    if (attention_ != Attention::none) return true;
    attention_ = Attention::awake;
  }
  try {
    summon_();
  } catch (...) {  // no memory: nobody comes, so the next one summons again
    takeBack(place);
    throw;
  }
  return true;
}

void Mailbox::takeBack(std::size_t place) {
  Task task;  // goes after the lock
  const MutexLock lock(mutex_);
  attention_ = Attention::none;
  if (place >= tasks_.size()) return;
  task = std::move(tasks_[place]);
  tasks_.erase(tasks_.begin() + static_cast<std::ptrdiff_t>(place));
}

void Mailbox::interrupt() {
  const MutexLock lock(mutex_);
  if (closed_) return;
  interrupted_ = true;
  endWaitOfOther();
}

void Mailbox::endWaitOfOther() {
  if (attention_ != Attention::waiting) return;
  attention_ = Attention::awake;
  // The sum overflows in some centuries, and is never read.
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(descriptor_, &one, sizeof(one));
}

bool Mailbox::closed() {
  const MutexLock lock(mutex_);
  return closed_;
}

std::vector<Task> Mailbox::take() {
  const MutexLock lock(mutex_);
  return std::exchange(tasks_, {});
}

bool Mailbox::beginWait() {
  const MutexLock lock(mutex_);
  if (!tasks_.empty() || std::exchange(interrupted_, false)) return false;
  attention_ = Attention::waiting;
  return true;
}

void Mailbox::endWait() {
  const MutexLock lock(mutex_);
  attention_ = Attention::awake;
}

bool Mailbox::leave() {
  const MutexLock lock(mutex_);
  if (!tasks_.empty()) return false;
  attention_ = Attention::none;
  return true;
}

std::vector<Task> Mailbox::close() {
  const MutexLock lock(mutex_);
  if (closed_) return {};
  closed_ = true;
  ::close(descriptor_);
  return std::exchange(tasks_, {});
}

}  // namespace qlczephra::platform
