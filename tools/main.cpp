// qlczephra: the command-line host of the settings client.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "qlczephra/version.h"
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
  qlczephra set common.time.curfew.enabled false --bool --service https://service.example --product corlane \
      --token-file token
      Changes a setting and waits until the service has it.

Exit status: 0 success, 1 failure, 2 misuse. "qlczephra COMMAND --help" explains a command.
)";

std::string versionText() {
  char text[32];
  std::snprintf(text, sizeof text, "qlczephra %.1f", qlczephraVersionNumber);
  return text;
}

int complain(ExitStatus status, const std::string& line) {
  std::fprintf(stderr, "qlczephra: %s\n", line.c_str());
  return static_cast<int>(status);
}

// What the library for command lines says of a misuse, with the place where help is to be had.
std::string describeMisuse(const CLI::App& program, const CLI::ParseError& error, int argc, const char* const* argv) {
  const auto chosen = program.get_subcommands();
  if (!chosen.empty()) return std::string(error.what()) + "; see qlczephra " + chosen.front()->get_name() + " --help";
  const std::string what = argc > 1 ? "there is no command " + std::string(argv[1]) : "there is no command";
  return what + "; see qlczephra --help";
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App program("Reads and changes the settings of the Zephra settings service as a host product would.",
                   "qlczephra");
  program.footer(examples);
  program.set_version_flag("--version", versionText(), "Print the version and exit");
  program.require_subcommand(1);
  program.get_formatter()->column_width(26);
  addDemoCommand(program);
  addFetchCommand(program);
  addReadCommands(program);
  addInterpretCommand(program);
  addSetCommand(program);
  addPendingCommand(program);
  addPushIdCommand(program);
  addWatchCommand(program);
  addPolicyCommand(program);
  try {
    program.parse(argc, argv);
    return static_cast<int>(ExitStatus::success);
  } catch (const CLI::CallForHelp&) {
    std::fputs(program.help().c_str(), stdout);
    return static_cast<int>(ExitStatus::success);
  } catch (const CLI::CallForVersion& version) {
    std::puts(version.what());
    return static_cast<int>(ExitStatus::success);
  } catch (const CLI::ParseError& error) {
    return complain(ExitStatus::misuse, describeMisuse(program, error, argc, argv));
  } catch (const Failure& failure) {
    return complain(failure.status(), failure.what());
  } catch (const std::exception& error) {
    return complain(ExitStatus::failure, std::string(error.what()) + "; try again, or report it");
  }
}
