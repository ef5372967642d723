// The commands of the program. Each function adds one command or a small family; a command runs once the whole command
// line is parsed, and ends by returning or by throwing Failure.
#pragma once

namespace CLI {
class App;
}

namespace qlczephra::tools {

void addDemoCommand(CLI::App& program);
void addFetchCommand(CLI::App& program);
void addReadCommands(CLI::App& program);  // get, tree, properties, readonly
void addInterpretCommand(CLI::App& program);
void addSetCommand(CLI::App& program);
void addPendingCommand(CLI::App& program);
void addPushIdCommand(CLI::App& program);
void addWatchCommand(CLI::App& program);
void addPolicyCommand(CLI::App& program);

}  // namespace qlczephra::tools
