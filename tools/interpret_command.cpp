// interpret: the effective settings that follow from a settings document, without a service and without a manager.
#include <CLI/CLI.hpp>

#include "document/settings_document.h"
#include "tools/commands.h"
#include "tools/failure.h"
#include "tools/flattened_tree.h"
#include "tools/input.h"
#include "tools/output.h"

namespace qlczephra::tools {
namespace {

constexpr const char* examples = R"(Examples:
  qlczephra interpret document.json
      The tree that a manager makes of this document.
  qlczephra interpret document.json --patch patch-501.plist --sending patch-501-sending.plist --flat
      With the changes that wait to be uploaded and those under way laid over it, plain values only.
  curl ... | qlczephra interpret - --json
      A document from elsewhere.
)";

struct InterpretCommand {
  std::string document;
  std::string sending;
  std::string patch;
  bool flat = false;
  OutputOptions output;

  void run() const;
};

Map changesIn(const std::string& path, const char* option) {
  if (path.empty()) return {};
  return readPropertyList(path, std::string("give a file of pending changes with ") + option);
}

void InterpretCommand::run() const {
  const Map content = readJsonObject(document, "give the path of a settings document, or - for standard input");
  const auto interpreted = document::SettingsDocument::interpret(content);
  if (!interpreted) {
    throw Failure(document +
                  " is no settings document: it needs a schema for \"common\" and one for \"macos\" under "
                  "\"data\", \"eff_schema\"; give the service's reply as it came");
  }
  const Map sendingChanges = changesIn(sending, "--sending");
  const Map patchChanges = changesIn(patch, "--patch");
  const Map tree = interpreted->effectiveTree({&sendingChanges, &patchChanges});
  printTree(flat ? flattenedTree(tree) : tree, output);
}

}  // namespace

void addInterpretCommand(CLI::App& program) {
  auto command = std::make_shared<InterpretCommand>();
  CLI::App* app = program.add_subcommand("interpret", "Print the settings that follow from a settings document");
  app->footer(examples);
  app->add_option("DOCUMENT", command->document, "Settings document (JSON), - for standard input")->required();
  app->add_option("--sending", command->sending, "File of the changes that are being uploaded")->option_text("FILE");
  app->add_option("--patch", command->patch, "File of the changes that wait")->option_text("FILE");
  app->add_flag("--flat", command->flat, "Print plain values instead of setting nodes");
  command->output.addTo(*app);
  app->callback([command] { command->run(); });
}

}  // namespace qlczephra::tools
