// The step through which every call to the service passes: the cached token, or the delegate's.
#include <utility>

#include "calls/single_shot_callback.h"
#include "manager/manager_core.h"
#include "transport/errors.h"

namespace qlczephra {

void ManagerCore::performOnQueueWithCCRToken(TokenOperation operation, Completion completion) {
  queue().post([weak = weak(), log = log_, operation = std::move(operation), completion = std::move(completion)] {
    const auto core = weak.lock();
    if (core != nullptr) {
      if (const auto token = core->ccrToken()) {
        operation(*token, completion);
        return;
      }
    }
    log.info("No CCR token, asking for the new one");
    if (core != nullptr) core->askDelegate(operation, completion);
  });
}

void ManagerCore::askDelegate(TokenOperation operation, Completion completion) {
  const auto delegate = authDelegate_.lock();
  if (delegate == nullptr) return;  // it gives no answer, and the call stays open
  auto answer = singleShot([weak = weak(), operation = std::move(operation), completion = std::move(completion)](
                               const std::optional<std::string>& token, const ErrorRef& error) {
    const auto core = weak.lock();
    if (core == nullptr) return;
    const auto secret = token ? std::optional(platform::Secret(*token)) : std::nullopt;
    core->queue().post([weak, operation, completion, secret, error] {
      if (const auto alive = weak.lock()) alive->acceptCredentials(secret, error, operation, completion);
    });
  });
  callHost("an authentication delegate", [&] { delegate->getCCRCredentials(std::move(answer)); });
}

void ManagerCore::acceptCredentials(const std::optional<platform::Secret>& token, const ErrorRef& error,
                                    const TokenOperation& operation, const Completion& completion) {
  if (error != nullptr || !token) {
    log_.error("No CCR token provided");
    completion(error != nullptr ? error : makeError(ZephraErrorCode::unauthorized));
    return;
  }
  log_.debug("Received CCR token");
  setCcrToken(token);
  operation(*token, completion);
}

void ManagerCore::clearCCRToken() {
  queue().postBarrier([weak = weak(), log = log_] {
    log.info("Clearing CCR token");
    if (const auto core = weak.lock()) core->setCcrToken(std::nullopt);
  });
}

}  // namespace qlczephra
