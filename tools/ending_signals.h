// Waiting in a program that SIGINT and SIGTERM end in an orderly way.
#pragma once

#include <csignal>

#include <chrono>

namespace qlczephra::tools {

class EndingSignals {
 public:
  // Holds the signals back, in this thread and in those that it starts from now on.
  EndingSignals();

  // Waits that long; true, at once, when one of the signals came.
  [[nodiscard]] bool cameWithin(std::chrono::milliseconds time);

 private:
  sigset_t signals_;
};

}  // namespace qlczephra::tools
