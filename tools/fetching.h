// Waiting for a fetch in a program that has nothing else to do.
#pragma once

#include <cstdint>
#include <string>

#include "qlczephra/manager.h"
#include "tools/log_follower.h"

namespace CLI {
class App;
}

namespace qlczephra::tools {

struct PatienceOptions {
  std::uint32_t seconds = 120;

  void addTo(CLI::App& command);
};

// Fetches and returns when the settings are there. `what` names them and the service for a message. Throws Failure when
// the fetch ends with an error or does not end in time; a manager that is still at it must not outlive the command.
void fetchSettings(QLCZephraManager& manager, const std::string& what, const PatienceOptions& patience,
                   LogFollower& log);

}  // namespace qlczephra::tools
