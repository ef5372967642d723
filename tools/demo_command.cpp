// demo: tells the library's story against a service of its own, and checks every step of it.
#include <CLI/CLI.hpp>

#include "tools/commands.h"
#include "tools/demo/story.h"
#include "tools/log_follower.h"
#include "tools/output.h"

namespace qlczephra::tools {
namespace {

constexpr const char* examples = R"(Examples:
  qlczephra demo
  qlczephra demo --log info
      Also what the library logs on the way.
)";

void tell(const LogOptions& log) {
  demo::World world(log);
  int number = 0;
  for (const demo::Step& step : demo::steps()) {
    printLine(std::to_string(++number) + ". " + step.title);
    step.run(world);
  }
  printLine("All " + std::to_string(number) + " steps did what they show.");
}

}  // namespace

void addDemoCommand(CLI::App& program) {
  auto log = std::make_shared<LogOptions>();
  CLI::App* app = program.add_subcommand("demo", "Show the library at work against a stand-in service, step by step");
  app->footer(examples);
  log->addTo(*app);
  app->callback([log] { tell(*log); });
}

}  // namespace qlczephra::tools
