#include "tools/fetching.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <future>
#include <memory>

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
      return "give a token that may read the settings of this product";
    case Code::notFound:
      return "check --service and --product";
    case Code::invalidSettings:
      return "the service sent no settings document; check --service and --product";
    default:
      return "look closer with --log info";
  }
}

}  // namespace

void PatienceOptions::addTo(CLI::App& command) {
  command
      .add_option(
          "--timeout", seconds,
          "Give up after this time (default: 120); failed requests are repeated until then. 0: when the library "
          "gives up, which can take hours")
      ->option_text("SECONDS")
      ->group("Service");
}

void fetchSettings(QLCZephraManager& manager, const std::string& what, const PatienceOptions& patience,
                   LogFollower& log) {
  auto ended = std::make_shared<std::promise<ErrorRef>>();
  auto end = ended->get_future();
  manager.fetchRemoteSettings([ended](const ErrorRef& error) { ended->set_value(error); });

  const auto deadline =
      patience.seconds == 0 ? Clock::time_point::max() : Clock::now() + std::chrono::seconds(patience.seconds);
  while (end.wait_until(std::min(deadline, Clock::now() + std::chrono::seconds(1))) != std::future_status::ready) {
    if (Clock::now() >= deadline) {
      log.endCountdown();
      const std::string trouble = log.trouble();
      throw Failure("cannot fetch " + what + ": not done after " + std::to_string(patience.seconds) + " s" +
                    (trouble.empty() ? "" : ", " + trouble) + "; wait longer with --timeout, or look with --log info");
    }
    log.tick();
  }
  log.endCountdown();
  if (const ErrorRef error = end.get()) {
    throw Failure("cannot fetch " + what + ": " + error->text() + "; " + remedyFor(*error));
  }
}

}  // namespace qlczephra::tools
