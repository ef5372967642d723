// Keeps the lines of the library's log.
#pragma once

#include <string>
#include <vector>

#include "platform/log.h"
#include "sim/history.h"

namespace qlczephra::sim {

struct LogRecord {
  LogDestination destination;
  LogLevel level;
  std::string subsystem;
  std::string category;
  std::string message;

  // For people and for tests: the message after "debug", "info" or "error" for the manager's log, "process" for the
  // process log and "default" for the platform's default log.
  [[nodiscard]] std::string text() const;
};

class SimLog : public platform::Log {
 public:
  // `history` outlives the object.
  explicit SimLog(History& history) noexcept : history_(history) {}

  void write(const LogLine& line) noexcept override;
  [[nodiscard]] const std::vector<LogRecord>& records() const noexcept { return records_; }
  // Writes from now on are dropped.
  void stop() noexcept { stopped_ = true; }

 private:
  History& history_;
  std::vector<LogRecord> records_;
  bool stopped_ = false;
};

}  // namespace qlczephra::sim
