// push-id: registers the device's push-notification id with the service.
#include <CLI/CLI.hpp>

#include "platform/json/json.h"
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
  qlczephra push-id 5f2a90 --service https://service.example --product corlane --token-file token
  get-token | qlczephra push-id 5f2a90 --service https://service.example --product corlane --token-stdin --json
)";

struct PushIdCommand {
  std::string id;
  ConnectionOptions connection;
  PatienceOptions patience;
  LogOptions log;
  OutputOptions output;

  void run() const;

 private:
  void checkId() const;
};

// A request that cannot hold the id would go out without it.
void PushIdCommand::checkId() const {
  const char* remedy = "give the id alone, as the platform's push service gave it";
  refuseControlCharacters(id, "the push id", remedy);
  if (!json::write(id)) throw Misuse(std::string("the push id is not UTF-8; ") + remedy);
}

void PushIdCommand::run() const {
  checkId();
  const auto follower = LogFollower::install(log);
  const Host host = connection.connect();
  awaitCall("register the push id with " + connection.service(), patience, *follower,
            [&](Completion completion) { host.manager->setPNSID(id, std::move(completion)); });
  if (output.json) return printTree({{"pns_id", id}}, output);
  printLine("Registered with " + connection.service());
}

}  // namespace

void addPushIdCommand(CLI::App& program) {
  auto command = std::make_shared<PushIdCommand>();
  CLI::App* app = program.add_subcommand("push-id", "Register the device's push-notification id with a service");
  app->footer(examples);
  app->add_option("ID", command->id, "The id, as the platform's push service gave it")->required();
  command->connection.addTo(*app)->required();
  command->patience.addTo(*app);
  command->log.addTo(*app);
  command->output.addTo(*app);
  app->callback([command] { command->run(); });
}

}  // namespace qlczephra::tools
