// qlczephra: the command-line host of the settings client.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "tools/commands.h"
#include "tools/failure.h"

namespace {

using namespace qlczephra::tools;

constexpr const char* examples = R"(Examples:
  qlczephra demo
      Shows the library at work against a service of its own.
  qlczephra get common.time.curfew.enabled --file zephra-501.plist
      A setting as a manager stored it.
  qlczephra tree macos.firewall --flat --service https://service.example --product corlane --token-file token
      A group of settings as the service has it now.

Exit status: 0 success, 1 failure, 2 misuse. "qlczephra COMMAND --help" explains a command.
)";

int complain(ExitStatus status, const std::string& line) {
  std::fprintf(stderr, "qlczephra: %s\n", line.c_str());
  return static_cast<int>(status);
}

// The command that was asked for help is the innermost one on the command line.
const CLI::App* helped(const CLI::App& program) {
  const auto chosen = program.get_subcommands();
  return chosen.empty() ? &program : chosen.front();
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App program("Reads the settings of the Zephra settings service as a host product would.", "qlczephra");
  program.footer(examples);
  program.require_subcommand(1);
  addDemoCommand(program);
  addFetchCommand(program);
  addReadCommands(program);
  addInterpretCommand(program);
  try {
    program.parse(argc, argv);
    return static_cast<int>(ExitStatus::success);
  } catch (const CLI::CallForHelp&) {
    std::fputs(helped(program)->help().c_str(), stdout);
    return static_cast<int>(ExitStatus::success);
  } catch (const CLI::ParseError& error) {
    return complain(ExitStatus::misuse,
                    std::string(error.what()) + "; see " +
                        (program.get_subcommands().empty() ? "qlczephra" : "qlczephra " + helped(program)->get_name()) +
                        " --help");
  } catch (const Failure& failure) {
    return complain(failure.status(), failure.what());
  } catch (const std::exception& error) {
    return complain(ExitStatus::failure, std::string(error.what()) + "; try again, or report it");
  }
}
