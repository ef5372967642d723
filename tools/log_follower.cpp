#include "tools/log_follower.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <map>
#include <utility>

namespace qlczephra::tools {
namespace {

const std::map<std::string, std::optional<LogLevel>>& levels() {
  static const std::map<std::string, std::optional<LogLevel>> all = {
      {"debug", LogLevel::debug}, {"info", LogLevel::info}, {"error", LogLevel::error}, {"none", std::nullopt}};
  return all;
}

const char* nameOf(LogLevel level) {
  switch (level) {
    case LogLevel::debug:
      return "debug";
    case LogLevel::info:
      return "info";
    case LogLevel::error:
    case LogLevel::plain:
      break;
  }
  return "error";
}

// The number between `before` and `after` when the message is just these three.
std::optional<int> numberIn(std::string_view message, std::string_view before, std::string_view after) {
  if (!message.starts_with(before) || !message.ends_with(after)) return std::nullopt;
  message.remove_prefix(before.size());
  int number = 0;
  const auto [end, error] = std::from_chars(message.data(), message.data() + message.size(), number);
  if (error != std::errc() || std::string_view(end, after.size()) != after) return std::nullopt;
  return number;
}

// The seconds until a request is repeated, when the message announces it.
std::optional<int> announcedWait(std::string_view message) {
  for (const char* call : {"getting settings", "patching settings", "setting new PNS id"}) {
    if (const auto wait = numberIn(message, "Will retry " + std::string(call) + " in ", " seconds")) return wait;
  }
  return std::nullopt;
}

// Whole beginnings, because other lines quote paths, in which anything may stand.
bool tellsOfChangeTrouble(const LogLine& line) {
  constexpr std::array<std::string_view, 5> beginnings = {
      "A change was refused, ",
      "Patch file path not usable, change refused: ",
      "Too many changes are pending, change refused: ",
      "Another process has the files of pending changes, change refused: ",
      "The files of pending changes cannot be used, ",
  };
  return line.level == LogLevel::error &&
         std::any_of(beginnings.begin(), beginnings.end(),
                     [&](std::string_view beginning) { return line.message.starts_with(beginning); });
}

}  // namespace

void LogOptions::addTo(CLI::App& command) {
  command
      .add_option("--log", level, "Print the library's log from this level on: debug, info, error or none (default)")
      ->option_text("LEVEL")
      ->check([](const std::string& name) {
        return levels().contains(name) ? "" : name + " is none of debug, info, error, none";
      });
}

std::optional<LogLevel> LogOptions::least() const {
  return levels().at(level);
}

LogFollower::LogFollower(std::optional<LogLevel> least)
    : least_(least), countdown_(stderr, ::isatty(STDERR_FILENO) == 1) {}

std::shared_ptr<LogFollower> LogFollower::install(const LogOptions& options) {
  auto follower = std::make_shared<LogFollower>(options.least());
  setLogSink([follower](const LogLine& line) { follower->take(line); });
  return follower;
}

void LogFollower::take(const LogLine& line) {
  const platform::MutexLock lock(mutex_);
  countdown_.erase();
  print(line);
  understand(line);
  drawCountdown();
}

void LogFollower::tick() {
  const platform::MutexLock lock(mutex_);
  drawCountdown();
}

void LogFollower::endCountdown() {
  const platform::MutexLock lock(mutex_);
  countdown_.end();
}

std::string LogFollower::trouble() const {
  const platform::MutexLock lock(mutex_);
  return describeTrouble();
}

// The process log knows no levels; what stands there are errors.
void LogFollower::print(const LogLine& line) {
  if (!least_ || line.level < *least_) return;
  std::string text = std::string(nameOf(line.level)) + ": ";
  if (!line.category.empty()) text.append(line.category).append(": ");
  // A message may quote the service; it stays one line and steers no terminal.
  for (const char c : line.message) text += static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? ' ' : c;
  text += '\n';
  std::fwrite(text.data(), 1, text.size(), stderr);
}

void LogFollower::understand(const LogLine& line) {
  constexpr std::string_view transport = "QLMNetworkRequest: Error ";
  if (line.destination == LogDestination::process && line.message.starts_with(transport)) {
    transportFailure_ = line.message.substr(transport.size());
    transportFailure_.resize(std::min(transportFailure_.find(" Unexpected response type."), transportFailure_.size()));
    return;
  }
  if (const auto status = numberIn(line.message, "Zephra responded with status ", "")) {
    status_ = status;
  } else if (const auto wait = announcedWait(line.message)) {
    countdown_.begin(std::chrono::seconds(*wait), Countdown::Clock::now());
  } else if (line.message.starts_with("Sending ")) {
    countdown_.end();
    uploads_ = uploads_ || line.message == "Sending patch settings request to zephra";
  } else if (tellsOfChangeTrouble(line)) {
    changeTrouble_ = line.message;
  }
}

bool LogFollower::refusedForGood() const {
  const platform::MutexLock lock(mutex_);
  return status_ == 401 || status_ == 403 || status_ == 404 || status_ == 422;
}

std::string LogFollower::takeChangeTrouble() {
  const platform::MutexLock lock(mutex_);
  return std::exchange(changeTrouble_, {});
}

bool LogFollower::uploads() const {
  const platform::MutexLock lock(mutex_);
  return uploads_;
}

std::string LogFollower::describeTrouble() const {
  if (!status_ || (*status_ >= 200 && *status_ < 300) || *status_ == 304) return "";
  if (*status_ != 0) return "the service answered " + std::to_string(*status_);
  return transportFailure_.empty() ? "no reply came" : "no reply came: " + transportFailure_;
}

}  // namespace qlczephra::tools
