// What happened in a simulated world, a line for each step, request, disk call and log line. Two runs of one seed give
// the same lines, and the lines of a failing seed tell its story.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "sim/clocks.h"

namespace qlczephra::sim {

class History {
 public:
  // `clocks` outlives the object.
  explicit History(const Clocks& clocks) noexcept : clocks_(clocks) {}

  // One line: the time since the world began in seconds, who it is about, and what happened.
  void note(std::string_view who, std::string_view what) {
    char time[32];
    std::snprintf(time, sizeof time, "%12.3f ", static_cast<double>(clocks_.elapsed().count()) / 1000);
    lines_.emplace_back(time).append(who).append(": ").append(what);
  }

  [[nodiscard]] const std::vector<std::string>& lines() const noexcept { return lines_; }
  [[nodiscard]] std::string text() const {
    std::string all;
    for (const std::string& line : lines_) all.append(line).append("\n");
    return all;
  }

 private:
  const Clocks& clocks_;
  std::vector<std::string> lines_;
};

}  // namespace qlczephra::sim
