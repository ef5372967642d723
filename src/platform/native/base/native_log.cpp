#include "platform/native/base/native_log.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>
#include <utility>

#include "platform/mutex.h"
#include "platform/platform.h"

namespace qlczephra {

namespace platform {

namespace {

const char* nameOf(LogLevel level) noexcept {
  switch (level) {
    case LogLevel::debug:
      return "debug";
    case LogLevel::info:
      return "info";
    case LogLevel::error:
      return "error";
    case LogLevel::plain:
      return "-";
  }
  return "-";
}

// One line on standard error, in one write so that lines of several threads do not mix:
// "2026-01-31T12:00:00Z com.quellin.corlane zephra_requests error message".
void writeToStandardError(const LogLine& line) {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%SZ ", &utc);
  std::string text = stamp;
  for (const std::string_view word : {line.subsystem, line.category}) {
    if (!word.empty()) text.append(word).append(" ");
  }
  text.append(nameOf(line.level)).append(" ");
  // A message may quote the service or the host; it stays one line whatever they wrote.
  for (const char c : line.message) text += static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? ' ' : c;
  text += '\n';
  if (::write(STDERR_FILENO, text.data(), text.size()) < 0) return;  // there is nobody left to tell
}

class NativeLog : public Log {
 public:
  void setSink(LogSink sink) {
    auto replacement = sink ? std::make_shared<const LogSink>(std::move(sink)) : nullptr;
    const MutexLock lock(mutex_);
    sink_.swap(replacement);
  }

  void guardSinkWith(Platform& platform) noexcept { platform_.store(&platform); }

  void write(const LogLine& line) noexcept override {
    try {
      std::shared_ptr<const LogSink> sink;
      {
        const MutexLock lock(mutex_);
        sink = sink_;
      }
      if (sink != nullptr) {
        callSink(*sink, line);
      } else {
        writeToStandardError(line);
      }
    } catch (...) {  // no memory for the line
    }
  }

 private:
  // Not through callHost(), whose word about an exception would come here again.
  void callSink(const LogSink& sink, const LogLine& line) noexcept {
    Platform* const platform = platform_.load();
    if (platform != nullptr && !platform->hostCodeBegins()) return;
    try {
      sink(line);
    } catch (...) {  // a sink that fails has had its chance
    }
    if (platform != nullptr) platform->hostCodeEnds();
  }

  std::atomic<Platform*> platform_{nullptr};
  Mutex mutex_;
  std::shared_ptr<const LogSink> sink_ QLCZ_GUARDED_BY(mutex_);
};

NativeLog& instance() {
  static NativeLog& log = *new NativeLog;
  return log;
}

}  // namespace

Log& nativeLog() noexcept {
  return instance();
}

void guardLogSinkWith(Platform& platform) noexcept {
  instance().guardSinkWith(platform);
}

}  // namespace platform

void setLogSink(LogSink sink) {
  platform::instance().setSink(std::move(sink));
}

}  // namespace qlczephra
