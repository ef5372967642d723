// Tasks for a thread that waits on descriptors while it has something to wait for, and is there for others else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "platform/mutex.h"
#include "platform/queue.h"

namespace qlczephra::platform {

// Shared by the thread that attends to it and by everybody who may ever have something for it, however late: what comes
// after `close` is dropped, and the descriptor is gone by then, so that a straggler holds nothing but memory.
class Mailbox {
 public:
  // `summon` is called by whoever posts the first task while nobody attends; from then on somebody does.
  explicit Mailbox(std::function<void()> summon);  // throws std::system_error when descriptors are short
  ~Mailbox();
  Mailbox(const Mailbox&) = delete;
  Mailbox& operator=(const Mailbox&) = delete;

  // Any thread. False when the mailbox is closed; the task is destroyed unrun then, and also when `summon` throws.
  bool post(Task task);
  // Any thread. Ends the present wait, or the next one.
  void interrupt();
  [[nodiscard]] bool closed();

  // For the thread that attends: each interruption of a wait is one event, for epoll's edge-triggered EPOLLIN.
  [[nodiscard]] int descriptor() const noexcept { return descriptor_; }
  // Empties the mailbox.
  std::vector<Task> take();
  // Bracket a wait for the descriptor, which costs those who post a system call. False: not to be waited now.
  [[nodiscard]] bool beginWait();
  void endWait();
  // Nobody attends any more. False when there are tasks: then it is to be gone on.
  [[nodiscard]] bool leave();
  // Ends the mailbox, for which nobody may wait any more; returns what was left in it.
  std::vector<Task> close();

 private:
  enum class Attention : std::uint8_t { none, awake, waiting };

  void endWaitOfOther() QLCZ_REQUIRES(mutex_);
  void takeBack(std::size_t place) QLCZ_EXCLUDES(mutex_);

  const std::function<void()> summon_;
  const int descriptor_;
  Mutex mutex_;
  std::vector<Task> tasks_ QLCZ_GUARDED_BY(mutex_);
  Attention attention_ QLCZ_GUARDED_BY(mutex_) = Attention::none;
  bool interrupted_ QLCZ_GUARDED_BY(mutex_) = false;
  bool closed_ QLCZ_GUARDED_BY(mutex_) = false;
};

}  // namespace qlczephra::platform
