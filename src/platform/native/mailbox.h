// Tasks for a thread that waits on descriptors.
#pragma once

#include <vector>

#include "platform/mutex.h"
#include "platform/queue.h"

namespace qlczephra::platform {

// Shared by the waiting thread and by everybody who may ever have something for it, however late: what comes after
// `close` is dropped, and the descriptor is gone by then, so that a straggler holds nothing but memory.
class Mailbox {
 public:
  Mailbox();  // throws std::system_error when descriptors are short
  ~Mailbox();
  Mailbox(const Mailbox&) = delete;
  Mailbox& operator=(const Mailbox&) = delete;

  // Any thread. False when the mailbox is closed; the task is destroyed unrun then.
  bool post(Task task);
  [[nodiscard]] bool closed();

  // For the waiting thread: readable while tasks are there, in poll's and epoll's sense.
  [[nodiscard]] int descriptor() const noexcept { return descriptor_; }
  // Empties the mailbox.
  std::vector<Task> take();
  // Ends the mailbox; returns what was left in it.
  std::vector<Task> close();

 private:
  const int descriptor_;
  Mutex mutex_;
  std::vector<Task> tasks_ QLCZ_GUARDED_BY(mutex_);
  bool closed_ QLCZ_GUARDED_BY(mutex_) = false;
};

}  // namespace qlczephra::platform
