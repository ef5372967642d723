// Follows the library's log for a command: prints the lines that the user asked for, counts down the waits, and
// remembers what went wrong last, because the error that a call ends with does not say it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/mutex.h"
#include "qlczephra/log.h"
#include "tools/countdown.h"

namespace CLI {
class App;
}

namespace qlczephra::tools {

struct LogOptions {
  std::string level = "none";

  void addTo(CLI::App& command);
  // None for no line at all.
  [[nodiscard]] std::optional<LogLevel> least() const;
};

// Threads: any.
class LogFollower {
 public:
  // Lines below `least` are not printed; none at all without it.
  explicit LogFollower(std::optional<LogLevel> least);
  // A new follower, which takes the place of the library's log sink.
  [[nodiscard]] static std::shared_ptr<LogFollower> install(const LogOptions& options);

  void take(const LogLine& line);
  // To be called about once a second while the command waits.
  void tick();
  // Takes a countdown that is still shown away.
  void endCountdown();

  // What the service or the network last did wrong; empty when the last reply was none to complain about.
  [[nodiscard]] std::string trouble() const;
  // Whether the last reply was a refusal that waiting does not change: of the token, the product or the changes.
  [[nodiscard]] bool refusedForGood() const;
  // The last line that told of a change that was refused or could not be written; empty when there was none since the
  // call before.
  [[nodiscard]] std::string takeChangeTrouble();
  // Whether an upload of changes has begun in this process, which has the files of pending changes from then on.
  [[nodiscard]] bool uploads() const;

 private:
  void print(const LogLine& line) QLCZ_REQUIRES(mutex_);
  void understand(const LogLine& line) QLCZ_REQUIRES(mutex_);
  void drawCountdown() QLCZ_REQUIRES(mutex_) { countdown_.draw(Countdown::Clock::now(), describeTrouble()); }
  [[nodiscard]] std::string describeTrouble() const QLCZ_REQUIRES(mutex_);

  const std::optional<LogLevel> least_;
  mutable platform::Mutex mutex_;
  Countdown countdown_ QLCZ_GUARDED_BY(mutex_);
  std::optional<int> status_ QLCZ_GUARDED_BY(mutex_);
  std::string transportFailure_ QLCZ_GUARDED_BY(mutex_);
  std::string changeTrouble_ QLCZ_GUARDED_BY(mutex_);
  bool uploads_ QLCZ_GUARDED_BY(mutex_) = false;
};

}  // namespace qlczephra::tools
