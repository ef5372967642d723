#include "platform/native/threads/event_loop.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "platform/native/base/native_log.h"

namespace qlczephra::platform {
namespace {

constexpr std::uint64_t queueToken = 0;

int makeEpoll(int queueDescriptor) {
  const int descriptor = ::epoll_create1(EPOLL_CLOEXEC);
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.u64 = queueToken;
  if (descriptor >= 0 && ::epoll_ctl(descriptor, EPOLL_CTL_ADD, queueDescriptor, &event) == 0) return descriptor;
  const int error = errno;
  if (descriptor >= 0) ::close(descriptor);
  throw std::system_error(error, std::system_category(), "epoll");
}

// Ends with what it throws, since memory ran out; each knows what becomes of its transfer then.
template <typename Function>
void runGuarded(const Function& function) noexcept {
  try {
    function();
  } catch (const std::exception&) {
    nativeLog().process("qlczephra: the network thread is short of memory");
  }
}

}  // namespace

EventLoop::Timer::Timer(EventLoop& loop, Task task) : loop_(loop), task_(std::move(task)) {
  loop_.timers_.push_back(this);
}

EventLoop::Timer::~Timer() {
  std::erase(loop_.timers_, this);
}

EventLoop::EventLoop() : epoll_(makeEpoll(queue_->descriptor())) {}

EventLoop::~EventLoop() {
  queue_->close();
  ::close(epoll_);
}

void EventLoop::run() noexcept {
  std::array<epoll_event, 64> events;
  while (!stopping_) {
    for (Task& task : queue_->take()) runGuarded(task);
    runDueTimers();
    if (stopping_) break;
    const int count = ::epoll_wait(epoll_, events.data(), static_cast<int>(events.size()), millisecondsToNextTimer());
    for (int i = 0; i < count && !stopping_; ++i) {
      const epoll_event& event = events[static_cast<std::size_t>(i)];
      if (event.data.u64 == queueToken) {
        queue_->clearWakeUps();
      } else {
        runGuarded([&] { dispatch(event.data.u64, event.events); });
      }
    }
  }
}

void EventLoop::stop() noexcept {
  stopping_ = true;
  queue_->wake();
}

void EventLoop::watch(int descriptor, std::uint32_t events, Handler handler) {
  // Never 0 in the upper half, so no token equals the queue's.
  if (++lastGeneration_ == 0) ++lastGeneration_;
  watched_[descriptor] = {lastGeneration_, std::move(handler)};
  epoll_event event{};
  event.events = events;
  event.data.u64 = std::uint64_t{lastGeneration_} << 32 | static_cast<std::uint32_t>(descriptor);
  if (::epoll_ctl(epoll_, EPOLL_CTL_ADD, descriptor, &event) != 0 && errno == EEXIST) {
    ::epoll_ctl(epoll_, EPOLL_CTL_MOD, descriptor, &event);
  }
}

void EventLoop::unwatch(int descriptor) noexcept {
  if (watched_.erase(descriptor) != 0) ::epoll_ctl(epoll_, EPOLL_CTL_DEL, descriptor, nullptr);
}

int EventLoop::millisecondsToNextTimer() const noexcept {
  auto next = Clock::time_point::max();
  for (const Timer* const timer : timers_) next = std::min(next, timer->when_.value_or(next));
  if (next == Clock::time_point::max()) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
  return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 60'000));
}

void EventLoop::dispatch(std::uint64_t token, std::uint32_t events) {
  const auto found = watched_.find(static_cast<int>(token & 0xFFFF'FFFF));
  if (found == watched_.end() || found->second.generation != token >> 32) return;
  const Handler handler = found->second.handler;  // a copy: it may unwatch itself
  handler(events);
}

void EventLoop::runDueTimers() noexcept {
  // Against one reading of the clock, so that a timer that sets itself again does not keep the loop here.
  const auto now = Clock::now();
  // By index: a task may make and destroy timers.
  for (std::size_t i = 0; i < timers_.size() && !stopping_; ++i) {
    Timer& timer = *timers_[i];
    if (!timer.when_ || *timer.when_ > now) continue;
    timer.cancel();
    runGuarded([&] {
      const Task task = timer.task_;  // a copy: it may destroy its timer
      task();
    });
  }
}

}  // namespace qlczephra::platform
