// watch: a host that does nothing but keep the settings up to date, and tells what changes.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <utility>

#include "tools/commands.h"
#include "tools/connection_options.h"
#include "tools/ending_signals.h"
#include "tools/failure.h"
#include "tools/fetching.h"
#include "tools/flattened_tree.h"
#include "tools/leaves.h"
#include "tools/log_follower.h"
#include "tools/output.h"
#include "tools/pending_files.h"

namespace qlczephra::tools {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* examples = R"(Examples:
  qlczephra watch --service https://service.example --product corlane --token-file token
      Prints what changes at the service, until Ctrl-C.
  qlczephra watch --for 3600 --every 5 --json --local-file settings.plist --patch-file patch.plist \
      --service https://service.example --product corlane --token-file token
      For an hour; also uploads the changes that wait in patch.plist. One JSON object a line:
      {"event": "started", "settings": 120}     the first fetch is done
      {"event": "changed", "path": "common.time.enabled", "from": true, "to": false}
                                                "from" or "to" is missing for a setting that came or went
      {"event": "uploaded"}                     nothing is pending any more
      {"event": "settled"}                      the same, by the doing of another process
)";

class Watch {
 public:
  Watch(QLCZephraManager& manager, const LogFollower& log, const OutputOptions& output)
      : manager_(manager), log_(log), output_(output) {
    if (const auto patchFile = manager.patchFilePath()) files_.emplace(*patchFile);
  }

  // Loads what is stored and begins to upload what waits.
  void start(const std::string& what) {
    what_ = what;
    somethingPended_ = files_ && !files_->areGone();  // before the upload, which may be done at once
    if (manager_.localFilePath() || files_) manager_.updateLocalSettings();
    nextTakeOver_ = Clock::now() + betweenTakeOvers;
  }

  // Uploads what another process had when this one started, and has left since. Not while a fetch runs, whose settings
  // would be replaced before they are told; and not after an upload began here, since the manager goes on by itself.
  void takeOver() {
    if (!files_ || Clock::now() < nextTakeOver_ || running_ != nullptr) return;
    if (!files_->areGone() && !log_.uploads()) manager_.updateLocalSettings();
    nextTakeOver_ = Clock::now() + betweenTakeOvers;
  }

  // Begins a fetch unless one is running.
  void fetch() {
    if (running_ != nullptr) return;
    running_ = std::make_shared<Fetch>();
    manager_.fetchRemoteSettings([fetch = running_](const ErrorRef& error) {
      fetch->error = error;
      fetch->ended.store(true);
    });
  }

  // Tells what happened since the last look. Failure when not even the first fetch succeeds.
  void look() {
    if (running_ != nullptr && running_->ended.load()) {
      const ErrorRef error = std::exchange(running_, nullptr)->error;
      if (error == nullptr) {
        tellSettings();
      } else if (!told_) {
        throw callFailure("fetch " + what_, *error);
      } else {
        std::fprintf(stderr, "qlczephra: %s\n", callFailure("fetch " + what_, *error).what());
      }
    }
    tellUploads();
  }

 private:
  struct Fetch {
    std::atomic<bool> ended{false};
    ErrorRef error;  // to be read when it has ended
  };

  void tellSettings() {
    Leaves now = leavesOf(flattenedTree(manager_.currentSettings().value_or(Map())));
    if (!told_) {
      tell({{"event", "started"}, {"settings", now.size()}},
           "Watching " + what_ + ": " + std::to_string(now.size()) + " values");
    } else {
      tellDifferences(now);
    }
    told_ = std::move(now);
  }

  void tellDifferences(const Leaves& now) const {
    for (const auto& [path, value] : *told_) {
      const auto found = now.find(path);
      if (found == now.end()) {
        tell({{"event", "changed"}, {"path", path}, {"from", value}}, path + ": " + shown(value) + " -> (none)");
      } else if (found->second != value) {
        tell({{"event", "changed"}, {"path", path}, {"from", value}, {"to", found->second}},
             path + ": " + shown(value) + " -> " + shown(found->second));
      }
    }
    for (const auto& [path, value] : now) {
      if (told_->contains(path)) continue;
      tell({{"event", "changed"}, {"path", path}, {"to", value}}, path + ": (none) -> " + shown(value));
    }
  }

  void tellUploads() {
    if (!files_) return;
    const bool pends = !files_->areGone();
    if (!std::exchange(somethingPended_, pends) || pends) return;
    if (log_.uploads()) {
      tell({{"event", "uploaded"}}, "All changes are uploaded.");
    } else {
      tell({{"event", "settled"}}, "Nothing is pending any more.");
    }
  }

  void tell(const Map& event, const std::string& line) const {
    if (output_.json) return printTree(event, output_);
    printLine(line);
  }

  static constexpr std::chrono::seconds betweenTakeOvers{5};

  QLCZephraManager& manager_;
  const LogFollower& log_;
  const OutputOptions& output_;
  std::string what_;
  std::optional<PendingFiles> files_;
  bool somethingPended_ = false;
  Clock::time_point nextTakeOver_;
  std::shared_ptr<Fetch> running_;
  std::optional<Leaves> told_;  // the settings that the user knows of
};

struct WatchCommand {
  ConnectionOptions connection;
  LogOptions log;
  OutputOptions output;
  std::uint32_t every = 30;
  std::optional<std::uint32_t> duration;

  void run() const;
};

void WatchCommand::run() const {
  const auto follower = LogFollower::install(log);
  const Host host = connection.connect();  // may wait for a token, and end with a signal meanwhile
  EndingSignals signals;
  Watch watch(*host.manager, *follower, output);
  watch.start(connection.what());

  const auto end = duration ? Clock::now() + std::chrono::seconds(*duration) : Clock::time_point::max();
  auto nextFetch = Clock::now();
  auto nextTick = nextFetch;
  do {
    watch.takeOver();
    if (Clock::now() >= nextFetch) {
      watch.fetch();
      nextFetch = Clock::now() + std::chrono::seconds(std::max<std::uint32_t>(every, 1));
    }
    if (Clock::now() >= nextTick) {
      follower->tick();
      nextTick = Clock::now() + std::chrono::seconds(1);
    }
    watch.look();
  } while (Clock::now() < end && !signals.cameWithin(std::chrono::milliseconds(50)));
  follower->endCountdown();
}

}  // namespace

void addWatchCommand(CLI::App& program) {
  auto command = std::make_shared<WatchCommand>();
  CLI::App* app = program.add_subcommand("watch", "Keep the settings up to date and print what changes");
  app->footer(examples);
  command->connection.addTo(*app)->required();
  app->add_option("--for", command->duration, "End after this time (default: when interrupted)")
      ->option_text("SECONDS");
  app->add_option("--every", command->every, "Fetch this often, at most once a second (default: 30)")
      ->option_text("SECONDS");
  command->log.addTo(*app);
  command->output.addTo(*app);
  app->callback([command] { command->run(); });
}

}  // namespace qlczephra::tools
