// Threads of the library take no signals: the host's handlers run on the host's threads.
#pragma once

#include <csignal>

namespace qlczephra::platform {

// While it lives, the calling thread and the threads that it starts (those for good) have all signals blocked, but for
// the ones that report a fault of the thread itself. That includes SIGPIPE of a write to a closed connection.
class BlockedSignals {
 public:
  BlockedSignals() noexcept {
    sigset_t blocked;
    sigfillset(&blocked);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) sigdelset(&blocked, fault);
    pthread_sigmask(SIG_SETMASK, &blocked, &before_);
  }
  ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;

 private:
  sigset_t before_;
};

}  // namespace qlczephra::platform
