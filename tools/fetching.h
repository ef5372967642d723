// Waiting for a call to the service in a program that has nothing else to do.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "qlczephra/manager.h"
#include "tools/failure.h"
#include "tools/log_follower.h"

namespace CLI {
class App;
}

namespace qlczephra::tools {

struct PatienceOptions {
  std::uint32_t seconds = 120;

  // `endless` tells users what ends a command whose --timeout is 0.
  void addTo(CLI::App& command, const std::string& endless = "when the library gives up, which can take hours");
  // When patience that begins now ends.
  [[nodiscard]] std::chrono::steady_clock::time_point deadline() const;
};

// Starts a call and returns when its completion has told of no error. `doing` says for a message what the call does, as
// "fetch the settings". Throws Failure when it ends with an error or does not end in time; a manager that is still at
// it must not outlive the command.
void awaitCall(const std::string& doing, const PatienceOptions& patience, LogFollower& log,
               const std::function<void(Completion)>& start);

// What awaitCall() throws when the call ends with an error.
[[nodiscard]] Failure callFailure(const std::string& doing, const Error& error);

// Fetches and returns when the settings are there. `what` names them and the service for a message. Throws as
// awaitCall().
void fetchSettings(QLCZephraManager& manager, const std::string& what, const PatienceOptions& patience,
                   LogFollower& log);

}  // namespace qlczephra::tools
