#include "tools/ending_signals.h"

#include <ctime>

namespace qlczephra::tools {

EndingSignals::EndingSignals() {
  sigemptyset(&signals_);
  sigaddset(&signals_, SIGINT);
  sigaddset(&signals_, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
}

bool EndingSignals::cameWithin(std::chrono::milliseconds time) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  timespec longest{};
  longest.tv_sec = static_cast<std::time_t>(seconds.count());
  longest.tv_nsec = static_cast<long>(std::chrono::nanoseconds(time - seconds).count());
  return sigtimedwait(&signals_, nullptr, &longest) > 0;
}

}  // namespace qlczephra::tools
