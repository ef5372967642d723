#include "platform/native/threads/event_loop.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace qlczephra::platform {
namespace {

constexpr std::uint64_t mailboxToken = 0;

int makeEpoll() {
  const int descriptor = ::epoll_create1(EPOLL_CLOEXEC);
  if (descriptor < 0) throw std::system_error(errno, std::system_category(), "epoll_create1");
  return descriptor;
}

std::shared_ptr<Mailbox> makeMailbox(int epoll, std::function<void()> summon) {
  auto mailbox = std::make_shared<Mailbox>(std::move(summon));
  epoll_event event{};
  event.events = EPOLLIN | EPOLLET;
  event.data.u64 = mailboxToken;
  if (::epoll_ctl(epoll, EPOLL_CTL_ADD, mailbox->descriptor(), &event) != 0) {
    throw std::system_error(errno, std::system_category(), "epoll_ctl");
  }
  return mailbox;
}

}  // namespace

EventLoop::EventLoop(std::function<void()> summon)
    : epoll_(makeEpoll()), mailbox_([&] {
        try {
          return makeMailbox(epoll_, std::move(summon));
        } catch (...) {
          ::close(epoll_);
          throw;
        }
      }()) {}

EventLoop::~EventLoop() {
  mailbox_->close();
  ::close(epoll_);
}

bool EventLoop::run(const std::function<bool()>& idle) {
  std::array<epoll_event, 64> events;
  while (!stopping_) {
    for (Task& task : mailbox_->take()) task();
    runDueTimers();
    if (stopping_) break;
    if (idle() && mailbox_->leave()) return true;
    if (!mailbox_->beginWait()) continue;
    const int count = ::epoll_wait(epoll_, events.data(), static_cast<int>(events.size()), millisecondsToNextTimer());
    mailbox_->endWait();
    for (int i = 0; i < count && !stopping_; ++i) {
      const epoll_event& event = events[static_cast<std::size_t>(i)];
      if (event.data.u64 != mailboxToken) dispatch(event.data.u64, event.events);
    }
  }
  return false;
}

void EventLoop::stop() {
  stopping_ = true;
  mailbox_->interrupt();
}

void EventLoop::watch(int descriptor, std::uint32_t events, Handler handler) {
  // Never 0 in the upper half, so no token equals the mailbox's.
  if (++lastGeneration_ == 0) ++lastGeneration_;
  watched_[descriptor] = {lastGeneration_, std::move(handler)};
  epoll_event event{};
  event.events = events;
  event.data.u64 = std::uint64_t{lastGeneration_} << 32 | static_cast<std::uint32_t>(descriptor);
  if (::epoll_ctl(epoll_, EPOLL_CTL_ADD, descriptor, &event) != 0 && errno == EEXIST) {
    ::epoll_ctl(epoll_, EPOLL_CTL_MOD, descriptor, &event);
  }
}

void EventLoop::unwatch(int descriptor) {
  if (watched_.erase(descriptor) != 0) ::epoll_ctl(epoll_, EPOLL_CTL_DEL, descriptor, nullptr);
}

EventLoop::Timer EventLoop::at(Clock::time_point when, Task task) {
  const Timer timer{when, ++lastTimer_};
  timers_.emplace(timer, std::move(task));
  return timer;
}

void EventLoop::cancel(Timer& timer) {
  timers_.erase(timer);
  timer = {};
}

std::optional<EventLoop::Clock::time_point> EventLoop::nextTimer() const {
  return timers_.empty() ? std::nullopt : std::optional(timers_.begin()->first.when);
}

int EventLoop::millisecondsToNextTimer() const {
  if (timers_.empty()) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(timers_.begin()->first.when - Clock::now());
  return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 60'000));
}

void EventLoop::dispatch(std::uint64_t token, std::uint32_t events) {
  const auto found = watched_.find(static_cast<int>(token & 0xFFFF'FFFF));
  if (found == watched_.end() || found->second.generation != token >> 32) return;
  const Handler handler = found->second.handler;  // a copy: it may unwatch itself
  handler(events);
}

void EventLoop::runDueTimers() {
  if (timers_.empty()) return;
  // Against one reading of the clock, so that a timer that sets itself again does not keep the loop here.
  const auto now = Clock::now();
  while (!timers_.empty() && timers_.begin()->first.when <= now && !stopping_) {
    const Task task = std::move(timers_.extract(timers_.begin()).mapped());
    task();
  }
}

}  // namespace qlczephra::platform
