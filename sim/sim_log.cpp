#include "sim/sim_log.h"

namespace qlczephra::sim {

std::string LogRecord::text() const {
  switch (destination) {
    case LogDestination::process:
      return "process " + message;
    case LogDestination::platformDefault:
      return "default " + message;
    case LogDestination::manager:
      break;
  }
  switch (level) {
    case LogLevel::debug:
      return "debug " + message;
    case LogLevel::info:
      return "info " + message;
    case LogLevel::error:
      return "error " + message;
    case LogLevel::plain:
      break;
  }
  return "plain " + message;
}

void SimLog::write(const LogLine& line) noexcept {
  if (stopped_) return;
  records_.push_back({line.destination, line.level, std::string(line.subsystem), std::string(line.category),
                      std::string(line.message)});
  history_.note("log", records_.back().text());
}

}  // namespace qlczephra::sim
