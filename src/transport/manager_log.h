// The log that all manager code writes to.
#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
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
  // A line that ends with a number. Needs no memory.
  void info(std::string_view text, std::int64_t number) const noexcept { write(LogLevel::info, text, number); }
  void error(std::string_view text, std::int64_t number) const noexcept { write(LogLevel::error, text, number); }
  // A line of the process log, which has neither level nor category.
  void process(std::string_view message) const noexcept { log_.process(message); }

  void write(LogLevel level, std::string_view message) const noexcept {
    log_.write({LogDestination::manager, level, "com.quellin.corlane", "zephra_requests", message});
  }

 private:
  void write(LogLevel level, std::string_view text, std::int64_t number) const noexcept {
    std::array<char, 128> line{};
    char* end = std::copy_n(text.data(), std::min(text.size(), line.size() / 2), line.data());
    end = std::to_chars(end, line.data() + line.size(), number).ptr;
    write(level, std::string_view(line.data(), static_cast<std::size_t>(end - line.data())));
  }

  platform::Log& log_;
};

}  // namespace qlczephra
