// interpret: the effective settings that follow from a settings document, without a service and without a manager.
#include <CLI/CLI.hpp>

#include "tools/commands.h"
#include "tools/document_source.h"
#include "tools/flattened_tree.h"
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
  DocumentSource document;
  bool flat = false;
  OutputOptions output;
};

}  // namespace

void addInterpretCommand(CLI::App& program) {
  auto command = std::make_shared<InterpretCommand>();
  CLI::App* app = program.add_subcommand("interpret", "Print the settings that follow from a settings document");
  app->footer(examples);
  command->document.addTo(*app, "DOCUMENT")->required();
  app->add_flag("--flat", command->flat, "Print plain values instead of setting nodes");
  command->output.addTo(*app);
  app->callback([command] {
    const Map tree = command->document.tree();
    printTree(command->flat ? flattenedTree(tree) : tree, command->output);
  });
}

}  // namespace qlczephra::tools
