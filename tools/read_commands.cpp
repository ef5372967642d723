// get, tree, properties, readonly: one read of a manager each.
#include <CLI/CLI.hpp>

#include "tools/commands.h"
#include "tools/failure.h"
#include "tools/flattened_tree.h"
#include "tools/output.h"
#include "tools/settings_source.h"

namespace qlczephra::tools {
namespace {

constexpr const char* getExamples = R"(Examples:
  qlczephra get common.time.curfew.enabled --file zephra-501.plist
  qlczephra get common.sites.list --json --service https://service.example --product corlane --token-file token
)";
constexpr const char* treeExamples = R"(Examples:
  qlczephra tree --file zephra-501.plist
      Everything, each setting with its value ("v") and its read-only flag ("ro").
  qlczephra tree macos.firewall --flat --file zephra-501.plist
      Plain values only.
)";
constexpr const char* propertiesExamples = R"(Examples:
  qlczephra properties common --file zephra-501.plist
  qlczephra properties common.time --json --service https://service.example --product corlane --token-file token
)";
constexpr const char* readonlyExamples = R"(Examples:
  qlczephra readonly macos.updates.channel --file zephra-501.plist
  qlczephra readonly macos.updates.channel --json --file zephra-501.plist
)";

struct ReadCommand {
  SettingsSource source;
  OutputOptions output;
  std::string path;
  bool flat = false;

  // The result of a read, or the Failure that says what is not there.
  template <typename Result>
  Result require(std::optional<Result> result, const QLCZephraManager& manager) const;
};

template <typename Result>
Result ReadCommand::require(std::optional<Result> result, const QLCZephraManager& manager) const {
  if (result) return *std::move(result);
  if (manager.getSettingValue(path)) {
    throw Failure(path + " is no group in " + source.name() + "; read it with: qlczephra get " + path);
  }
  throw Failure("there is no setting " + path + " in " + source.name() +
                "; see what there is with: qlczephra tree --flat");
}

void get(const ReadCommand& command) {
  const Host host = command.source.open();
  printValue(command.require(host.manager->getSettingValue(command.path), *host.manager), command.output);
}

void tree(const ReadCommand& command) {
  const Host host = command.source.open();
  const QLCZephraManager& manager = *host.manager;
  if (command.path.empty()) {
    const Map settings = manager.currentSettings().value_or(Map());
    return printTree(command.flat ? flattenedTree(settings) : settings, command.output);
  }
  auto group = command.flat ? manager.getFlattenedDict(command.path) : manager.getDictValue(command.path);
  printTree(command.require(std::move(group), manager), command.output);
}

void properties(const ReadCommand& command) {
  const Host host = command.source.open();
  printNames(command.require(host.manager->getProperties(command.path), *host.manager), command.output);
}

void readonly(const ReadCommand& command) {
  const Host host = command.source.open();
  const bool flag = command.require(host.manager->getSettingIsReadonly(command.path), *host.manager);
  if (command.output.json) return printValue(flag, command.output);
  printLine(flag ? "read-only" : "writable");
}

std::shared_ptr<ReadCommand> addRead(CLI::App& program, const char* name, const char* description, const char* examples,
                                     bool pathRequired, void (*run)(const ReadCommand&)) {
  auto command = std::make_shared<ReadCommand>();
  CLI::App* app = program.add_subcommand(name, description);
  app->footer(examples);
  app->add_option("PATH", command->path, "Section and property names joined by dots, as common.time.curfew")
      ->required(pathRequired);
  command->source.addTo(*app);
  command->output.addTo(*app);
  app->callback([command, run] { run(*command); });
  return command;
}

}  // namespace

void addReadCommands(CLI::App& program) {
  addRead(program, "get", "Print the value of a setting", getExamples, true, get);
  const auto treeCommand =
      addRead(program, "tree", "Print the settings, or a group of them, as JSON", treeExamples, false, tree);
  program.get_subcommand("tree")->add_flag("--flat", treeCommand->flat, "Print plain values instead of setting nodes");
  addRead(program, "properties", "List the names in a group of settings", propertiesExamples, true, properties);
  addRead(program, "readonly", "Tell whether a setting is read-only", readonlyExamples, true, readonly);
}

}  // namespace qlczephra::tools
