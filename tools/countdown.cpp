#include "tools/countdown.h"

#include <algorithm>

namespace qlczephra::tools {

void Countdown::end() {
  erase();
  until_.reset();
}

void Countdown::draw(Clock::time_point now, const std::string& reason) {
  if (!onTerminal_ || !until_) return;
  const auto left = std::max(std::chrono::ceil<std::chrono::seconds>(*until_ - now), std::chrono::seconds(0));
  erase();
  std::fprintf(stream_, "next try in %lld s: %s (Ctrl-C gives up)", static_cast<long long>(left.count()),
               reason.c_str());
  std::fflush(stream_);
  drawn_ = true;
}

void Countdown::erase() {
  if (!drawn_) return;
  std::fputs("\r\033[K", stream_);  // to the first column, and clear the line
  std::fflush(stream_);
  drawn_ = false;
}

}  // namespace qlczephra::tools
