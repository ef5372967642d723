// pending: the changes that no service has confirmed yet, from the files alone.
#include <CLI/CLI.hpp>

#include "qlczephra/manager.h"
#include "tools/commands.h"
#include "tools/failure.h"
#include "tools/leaves.h"
#include "tools/output.h"
#include "tools/pending_files.h"

namespace qlczephra::tools {
namespace {

constexpr const char* examples = R"(Examples:
  qlczephra pending --file patch-501.plist
      What waits in this file, and what was handed to an upload, which stands in patch-501-sending.plist.
  qlczephra pending --uid 501 --json
      The same of the product's own files, as {"waiting": {...}, "sending": {...}}.
)";

struct PendingCommand {
  std::string file;
  std::optional<std::int64_t> uid;
  OutputOptions output;

  void run() const;
};

void printChanges(const Map& changes, const std::string& what, const std::string& file) {
  const Leaves leaves = leavesOf(changes);
  if (leaves.empty()) return;
  printLine(what + " (" + file + "):");
  for (const auto& [path, value] : leaves) printLine("  " + path + " = " + shown(value));
}

void PendingCommand::run() const {
  if (file.empty() && !uid) throw Misuse("there is nothing to look at; give --file FILE or --uid UID");
  const PendingFiles files(uid ? QLCZephraManager::patchSettingsFileForUid(*uid) : file);
  const PendingFiles::Changes changes = files.read();
  if (output.json) return printTree({{"waiting", changes.waiting}, {"sending", changes.sending}}, output);
  printChanges(changes.sending, "Handed to an upload", files.sendingFile());
  printChanges(changes.waiting, "Waiting", files.waitingFile());
  if (changes.sending.empty() && changes.waiting.empty()) printLine("No change is pending.");
}

}  // namespace

void addPendingCommand(CLI::App& program) {
  auto command = std::make_shared<PendingCommand>();
  CLI::App* app = program.add_subcommand("pending", "List the changes that the service has not confirmed yet");
  app->footer(examples);
  CLI::Option* file = app->add_option("--file", command->file, "File of the changes that wait");
  file->option_text("FILE");
  app->add_option("--uid", command->uid, "The product's own files of this user id")->option_text("UID")->excludes(file);
  command->output.addTo(*app);
  app->callback([command] { command->run(); });
}

}  // namespace qlczephra::tools
