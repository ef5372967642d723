// The log that all manager code writes to.
#pragma once

#include <string>
#include <string_view>

#include "platform/log.h"

namespace qlczephra {

class ManagerLog {
 public:
  // `log` outlives the object.
  explicit ManagerLog(platform::Log& log) noexcept : log_(log) {}

  void debug(std::string_view message) const noexcept { write(LogLevel::debug, message); }
  void info(std::string_view message) const noexcept { write(LogLevel::info, message); }
  void error(std::string_view message) const noexcept { write(LogLevel::error, message); }
  // A line of the process log, which has neither level nor category.
  void process(std::string_view message) const noexcept { log_.process(message); }

 private:
  void write(LogLevel level, std::string_view message) const noexcept {
    log_.write({LogDestination::manager, level, "com.quellin.corlane", "zephra_requests", message});
  }
  platform::Log& log_;
};

}  // namespace qlczephra
