// One line on a terminal that counts the seconds of a wait. Not for use by two threads at once.
#pragma once

#include <chrono>
#include <cstdio>
#include <optional>
#include <string>

namespace qlczephra::tools {

class Countdown {
 public:
  using Clock = std::chrono::steady_clock;

  // Without a terminal nothing is ever shown.
  Countdown(std::FILE* stream, bool onTerminal) : stream_(stream), onTerminal_(onTerminal) {}

  void begin(std::chrono::seconds wait, Clock::time_point now) { until_ = now + wait; }
  void end();

  // Writes the line anew if a wait has begun. `reason` stands behind the seconds.
  void draw(Clock::time_point now, const std::string& reason);
  // Takes the line away, so that another can be printed in its place; draw() brings it back.
  void erase();

 private:
  std::FILE* stream_;
  bool onTerminal_;
  bool drawn_ = false;
  std::optional<Clock::time_point> until_;
};

}  // namespace qlczephra::tools
