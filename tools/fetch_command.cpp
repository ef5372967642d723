// fetch: brings the settings of a product and stores them where the options say.
#include <CLI/CLI.hpp>

#include "tools/commands.h"
#include "tools/connection_options.h"
#include "tools/failure.h"
#include "tools/fetching.h"
#include "tools/input.h"
#include "tools/log_follower.h"
#include "tools/output.h"

namespace qlczephra::tools {
namespace {

constexpr const char* examples = R"(Examples:
  qlczephra fetch --service https://service.example --product corlane --token-file token
      Shows whether the service can be reached and which groups of settings it has.
  get-token | qlczephra fetch --service https://service.example --product corlane --token-stdin \
      --local-file settings.plist --json
      Stores the settings in a file, from which the other commands read with --file.
)";

struct FetchCommand {
  ConnectionOptions connection;
  PatienceOptions patience;
  LogOptions log;
  OutputOptions output;

  void run() const;
};

// The manager does not report a failed write, so the file itself must tell.
void checkStored(const QLCZephraManager& manager) {
  const auto path = manager.localFilePath();
  if (!path) return;
  const std::string remedy = "give a writable place with --local-file";
  if (readPropertyListIfAny(*path, remedy) != manager.currentSettings()) {
    throw Failure("the settings were fetched but not stored in " + *path + "; " + remedy);
  }
}

std::vector<std::string> namesIn(const QLCZephraManager& manager, std::string_view section) {
  return manager.getProperties(section).value_or(std::vector<std::string>());
}

void FetchCommand::run() const {
  const auto follower = LogFollower::install(log);
  const Host host = connection.connect();
  fetchSettings(*host.manager, connection.what(), patience, *follower);
  checkStored(*host.manager);

  const Map settings = host.manager->currentSettings().value_or(Map());
  const auto file = host.manager->localFilePath();
  if (output.json) {
    Map::Builder sections;
    for (const auto [section, node] : settings) {
      const auto names = namesIn(*host.manager, section);
      sections.set(section, List(std::vector<Value>(names.begin(), names.end())));
    }
    return printTree({{"sections", sections.build()}, {"file", file ? Value(*file) : Value()}}, output);
  }
  printLine("Fetched " + connection.what());
  for (const auto [section, node] : settings) {
    std::string line = std::string(section) + ":";
    for (const std::string& name : namesIn(*host.manager, section)) line += " " + name;
    printLine(line);
  }
  if (file) printLine("Stored in " + *file);
}

}  // namespace

void addFetchCommand(CLI::App& program) {
  auto command = std::make_shared<FetchCommand>();
  CLI::App* app = program.add_subcommand("fetch", "Fetch the settings of a product from a service");
  app->footer(examples);
  command->connection.addTo(*app)->required();
  command->patience.addTo(*app);
  command->log.addTo(*app);
  command->output.addTo(*app);
  app->callback([command] { command->run(); });
}

}  // namespace qlczephra::tools
