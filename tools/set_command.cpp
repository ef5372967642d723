// set: changes one setting, at a service or in a file of pending changes for later.
#include <CLI/CLI.hpp>
#include <chrono>
#include <optional>

#include "document/patch.h"
#include "platform/plist/plist.h"
#include "tools/commands.h"
#include "tools/connection_options.h"
#include "tools/ending_signals.h"
#include "tools/failure.h"
#include "tools/fetching.h"
#include "tools/host_objects.h"
#include "tools/leaves.h"
#include "tools/log_follower.h"
#include "tools/output.h"
#include "tools/pending_files.h"
#include "tools/temporary_directory.h"
#include "tools/typed_value.h"

namespace qlczephra::tools {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* examples = R"(Examples:
  qlczephra set common.time.curfew.enabled false --bool --service https://service.example --product corlane \
      --token-file token
      Returns when the service has the change. One that it does not take in time is given up.
  qlczephra set common.sites.list '[{"url": "https://school.example/", "allowed": true}]' --json --uid 501 \
      --service https://service.example --product corlane --token-file token
      A change that the service does not take in time stays in the product's files and goes out with the next upload.
  qlczephra set common.time.quota.friday.duration --int --file patch-501.plist -- -1
      Only records the change, for the next upload; refused while a running program keeps this file.
The kind of VALUE is never guessed; what is made of it is told by the exit status.
)";

struct SetCommand {
  std::string path;
  TypedValue value;
  std::string file;
  ConnectionOptions connection;
  PatienceOptions patience;
  LogOptions log;

  void run() const;

 private:
  void checkChange() const;
  void recordInFile() const;
  void upload() const;
  void write(QLCZephraManager& manager, const PendingFiles& files, LogFollower& follower) const;
  void refuseReadonly(const QLCZephraManager& manager) const;
  void awaitUpload(const PendingFiles& files, EndingSignals& signals, LogFollower& follower, bool kept) const;
  void tell(const std::string& outcome) const { printLine(path + " = " + shown(value.get()) + ": " + outcome); }
};

// A manager would refuse such a change, or apply and not keep it, and only its log would say so.
void SetCommand::checkChange() const {
  const Value newValue = value.get();
  if (const char* reason = document::whyTooLarge(path, newValue)) {
    throw Misuse("the change of " + path.substr(0, 200) + ": " + reason + "; give a smaller one");
  }
  if (!plist::write(document::makePatch(path, newValue))) {
    throw Misuse("a file of changes cannot hold the value or the path: null, a control character, or no UTF-8; " +
                 std::string("give another value for ") + path.substr(0, 200));
  }
}

// The change must be in the files when the call has returned. An outage of theirs is told of only once: after one that
// was told of before, its end as well as its persistence is silent, and the files themselves must show which it is.
void SetCommand::write(QLCZephraManager& manager, const PendingFiles& files, LogFollower& follower) const {
  const std::string troubleBefore = follower.takeChangeTrouble();
  manager.setSettingValue(path, value.get());
  std::string trouble = follower.takeChangeTrouble();
  if (trouble.empty() && !troubleBefore.empty() && !files.hold(document::makePatch(path, value.get()))) {
    trouble = troubleBefore;
  }
  if (trouble.empty()) return;
  throw Failure("cannot record the change in " + files.waitingFile() + ": " + trouble +
                "; give a file in a writable place that no running program keeps");
}

// By a manager whose upload begins, which is why the change is in the sending file then, and goes no further.
void SetCommand::recordInFile() const {
  const PendingFiles files(file);
  const auto follower = LogFollower::install(log);
  const auto delegate = std::make_shared<NoToken>();
  QLCZephraManager manager(std::make_shared<QLCAppInfo>("none", "none"), std::make_shared<FixedURL>("http://localhost"),
                           delegate);
  manager.setPatchFilePath(files.waitingFile());
  write(manager, files, *follower);
  tell("recorded in " + files.sendingFile());
}

void SetCommand::refuseReadonly(const QLCZephraManager& manager) const {
  if (manager.getSettingIsReadonly(path) != true) return;
  throw Failure(path + " is read-only, a change of it would have no effect; see what is writable with: " +
                "qlczephra readonly PATH");
}

void SetCommand::awaitUpload(const PendingFiles& files, EndingSignals& signals, LogFollower& follower,
                             bool kept) const {
  const auto deadline = patience.deadline();
  auto nextTick = Clock::now();
  bool interrupted = false;
  while (!files.areGone()) {
    const bool refused = follower.refusedForGood();
    const bool timeIsUp = Clock::now() >= deadline;
    if (refused || timeIsUp || interrupted) {
      follower.endCountdown();
      std::string why = interrupted ? "interrupted" : "";
      if (timeIsUp && !interrupted) why = "not done after " + std::to_string(patience.seconds) + " s";
      const std::string trouble = follower.trouble();
      if (!why.empty() && !trouble.empty()) why += ", ";
      // A request may be on its way, or have been taken although its reply did not say so.
      const std::string givenUp = refused ? "the change is given up" : "the change is given up but may still be taken";
      std::string said = "cannot change ";
      said.append(path).append(" at ").append(connection.service()).append(": ").append(why).append(trouble);
      said.append("; ");
      if (kept) {
        said.append("the change waits, see: qlczephra pending --file ").append(files.waitingFile());
      } else {
        said.append(givenUp).append(", keep such ones with --patch-file or --uid");
      }
      throw Failure(said);
    }
    if (Clock::now() >= nextTick) {
      follower.tick();
      nextTick = Clock::now() + std::chrono::seconds(1);
    }
    interrupted = signals.cameWithin(std::chrono::milliseconds(10));
  }
  follower.endCountdown();
}

void SetCommand::upload() const {
  const auto follower = LogFollower::install(log);
  std::optional<TemporaryDirectory> directory;  // outlives the manager, which writes there
  const Host host = connection.connect();
  QLCZephraManager& manager = *host.manager;
  std::optional<PendingFiles> files;
  if (const auto patchFile = manager.patchFilePath()) files.emplace(*patchFile);
  const bool kept = files.has_value();

  // A change that is to be kept must not depend on the service being there.
  if (manager.localFilePath()) manager.updateLocalSettings();
  if (!kept) fetchSettings(manager, connection.what(), patience, *follower);
  refuseReadonly(manager);

  EndingSignals signals;  // from here on there may be something to take away
  if (!kept) {
    directory.emplace();
    manager.setPatchFilePath(directory->path() + "/patch.plist");
    files.emplace(*manager.patchFilePath());
  }
  write(manager, *files, *follower);
  awaitUpload(*files, signals, *follower, kept);
  tell("the service has it");
}

void SetCommand::run() const {
  checkChange();
  if (!file.empty()) return recordInFile();
  if (connection.given()) return upload();
  throw Misuse("there is nowhere to make the change; give --service URL --product NAME with a token, or --file FILE");
}

}  // namespace

void addSetCommand(CLI::App& program) {
  auto command = std::make_shared<SetCommand>();
  CLI::App* app = program.add_subcommand("set", "Change a setting");
  app->footer(examples);
  app->add_option("PATH", command->path, "Section and property names joined by dots, as common.time.curfew.enabled")
      ->required();
  command->value.addTo(*app);
  CLI::Option* file = app->add_option("--file", command->file,
                                      "Record the change beside this file of pending changes, without a service");
  file->option_text("FILE");
  file->excludes(command->connection.addTo(*app));
  command->patience.addTo(*app, "never; a change that is neither taken nor refused is sent again and again");
  command->log.addTo(*app);
  app->callback([command] { command->run(); });
}

}  // namespace qlczephra::tools
