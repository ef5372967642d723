// The log as the library's own code writes to it.
#pragma once

#include "qlczephra/log.h"

namespace qlczephra::platform {

class Log {
 public:
  virtual ~Log() = default;
  // Never throws, whatever the sink does. Not to be called with a lock held.
  virtual void write(const LogLine& line) noexcept = 0;

  // A line of the process log.
  void process(std::string_view message) noexcept {
    write({LogDestination::process, LogLevel::plain, {}, {}, message});
  }
};

}  // namespace qlczephra::platform
