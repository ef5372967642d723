#include "tools/fetching.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <future>
#include <memory>
#include <utility>

#include "tools/failure.h"

namespace qlczephra::tools {
namespace {

using Code = QLCZephraManager::ZephraErrorCode;
using Clock = std::chrono::steady_clock;

const char* remedyFor(const Error& error) {
  const auto code = error.domain() == QLCZephraManager::errorDomain() ? Code::fromRawValue(error.code()) : std::nullopt;
  switch (code.value_or(Code::unexpectedResponse).rawValue()) {
    case Code::unauthorized:
      return "give a token that is valid now";
    case Code::forbidden:
      return "give a token that may do this with this product";
    case Code::notFound:
      return "check --service and --product";
    case Code::invalidSettings:
      return "the service sent no settings document; check --service and --product";
    default:
      return "look closer with --log info";
  }
}

}  // namespace

Clock::time_point PatienceOptions::deadline() const {
  return seconds == 0 ? Clock::time_point::max() : Clock::now() + std::chrono::seconds(seconds);
}

void PatienceOptions::addTo(CLI::App& command, const std::string& endless) {
  command
      .add_option("--timeout", seconds,
                  "Give up after this time (default: 120); failed requests are repeated until then. 0: " + endless)
      ->option_text("SECONDS")
      ->group("Service");
}

void awaitCall(const std::string& doing, const PatienceOptions& patience, LogFollower& log,
               const std::function<void(Completion)>& start) {
  auto ended = std::make_shared<std::promise<ErrorRef>>();
  auto end = ended->get_future();
  start([ended](const ErrorRef& error) { ended->set_value(error); });

  const auto deadline = patience.deadline();
  while (end.wait_until(std::min(deadline, Clock::now() + std::chrono::seconds(1))) != std::future_status::ready) {
    if (Clock::now() >= deadline) {
      log.endCountdown();
      const std::string trouble = log.trouble();
      throw Failure("cannot " + doing + ": not done after " + std::to_string(patience.seconds) + " s" +
                    (trouble.empty() ? "" : ", " + trouble) + "; wait longer with --timeout, or look with --log info");
    }
    log.tick();
  }
  log.endCountdown();
  if (const ErrorRef error = end.get()) throw callFailure(doing, *error);
}

Failure callFailure(const std::string& doing, const Error& error) {
  return Failure("cannot " + doing + ": " + error.text() + "; " + remedyFor(error));
}

void fetchSettings(QLCZephraManager& manager, const std::string& what, const PatienceOptions& patience,
                   LogFollower& log) {
  awaitCall("fetch " + what, patience, log,
            [&manager](Completion completion) { manager.fetchRemoteSettings(std::move(completion)); });
}

}  // namespace qlczephra::tools
