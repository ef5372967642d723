// Where the library's log lines go.
//
// Three destinations, as on the platform that the service was made for: the manager's log (one log object for all
// managers, with the host product as subsystem and a category), the plain process log (file-path errors and failures of
// the HTTP layer), and the platform's default log (one line a request). By default a line is written to standard error.
//
// Tokens and setting values never appear in a line.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "qlczephra/export.h"

namespace qlczephra {

enum class LogLevel : std::uint8_t {
  debug,
  info,
  error,
  plain,  // a line of the process log, which knows no levels
};

enum class LogDestination : std::uint8_t { manager, process, platformDefault };

// The views are valid during the call of the sink only.
struct LogLine {
  LogDestination destination;
  LogLevel level;
  std::string_view subsystem;  // empty but for the manager's log
  std::string_view category;   // empty but for the manager's log
  std::string_view message;
};

// Called on whatever thread has something to say, several threads at once included, and with no lock of the library
// held. An exception that leaves it is dropped.
using LogSink = std::function<void(const LogLine&)>;

// Replaces the sink of the process; an empty one brings back the default. A line that another thread is just writing
// may still reach the old sink after the call has returned. Unlike the host's objects that a manager was given, the
// sink belongs to the process: what a destroyed manager left behind may still write a line.
QLCZEPHRA_EXPORT void setLogSink(LogSink sink);

}  // namespace qlczephra
