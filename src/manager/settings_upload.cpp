// Bringing pending changes to the service: at most one upload for a pair of files, repeated until it is confirmed.
#include <chrono>
#include <utility>

#include "manager/manager_core.h"
#include "platform/planted_bug.h"
#include "transport/errors.h"
#include "transport/header_rules.h"

namespace qlczephra {

bool ManagerCore::sendPending(const PendingChanges& changes) {
  if (isClosed()) return false;
  const auto present = pendingChanges();
  if (present.get() != &changes) return false;
  sendFrom(present);
  return true;
}

void ManagerCore::sendFrom(const std::shared_ptr<PendingChanges>& changes) {
  std::vector<std::string> errors;
  PendingChanges::Start start;
  {
    const platform::MutexLock lock(changes->patchLock());
    start = changes->startUpload(errors);
  }
  for (const std::string& error : errors) log_.error(error);
  carryOn(changes, std::move(start));
}

void ManagerCore::carryOn(const std::shared_ptr<PendingChanges>& changes, PendingChanges::Start start) {
  if (start.upload != nullptr) beginUpload(changes, std::move(start.upload));
  if (start.pause) endPauseAfter(changes, *start.pause);
}

void ManagerCore::endPauseAfter(const std::shared_ptr<PendingChanges>& changes, PendingChanges::Pause pause) {
  // The files outlive this manager when others share them, and the pause is theirs too.
  queue().postAfter(std::chrono::seconds(pause.seconds),
                    [weakChanges = std::weak_ptr<PendingChanges>(changes), number = pause.number] {
                      if (const auto files = weakChanges.lock()) files->pauseIsOver(number);
                    });
}

void ManagerCore::endPauseEarly() {
  std::shared_ptr<PendingChanges> changes;
  {
    const platform::MutexLock lock(fieldsMutex_);
    changes = pendingChanges_;
  }
  if (changes != nullptr) changes->pauseIsOver(changes->presentPause());
}

void ManagerCore::beginUpload(const std::shared_ptr<PendingChanges>& changes, std::shared_ptr<Upload> upload) {
  const WeakUpload weakUpload = upload;
  {
    const platform::MutexLock lock(fieldsMutex_);
    // A manager that was let go meanwhile does not keep the claim.
    if (!isClosed()) upload_ = std::move(upload);
  }
  performOnQueueWithCCRToken(
      [weak = weak(), weakUpload](const platform::Secret& ccrToken, const Completion& completion) {
        if (const auto core = weak.lock()) core->patchSettings(weakUpload, ccrToken, completion);
      },
      [weak = weak(), changes, weakUpload](const ErrorRef& error) {
        const auto core = weak.lock();
        const auto ended = weakUpload.lock();
        if (core != nullptr && ended != nullptr) core->endUpload(changes, ended, error);
      });
}

void ManagerCore::endUpload(const std::shared_ptr<PendingChanges>& changes, const std::shared_ptr<Upload>& upload,
                            const ErrorRef& error) {
  std::vector<std::string> errors;
  PendingChanges::Start next;
  {
    const platform::MutexLock lock(changes->patchLock());
    if (error != nullptr && !isPlanted(PlantedBug::failedUploadForgotten)) {
      next.pause = changes->refuse(*upload);
    } else {
      changes->confirm(*upload);
      next = changes->startUpload(errors);
    }
  }
  {
    const platform::MutexLock lock(fieldsMutex_);
    if (upload_ == upload) upload_ = nullptr;
  }
  for (const std::string& line : errors) log_.error(line);
  carryOn(changes, std::move(next));
}

void ManagerCore::patchSettings(const WeakUpload& weakUpload, const platform::Secret& ccrToken, Completion completion) {
  if (weakUpload.expired()) return;  // another manager has taken over
  log_.info("Sending patch settings request to zephra");
  HeaderMap headers = ownHeaders();
  {
    const platform::MutexLock lock(fieldsMutex_);
    if (auto tag = newestTag_.text()) headers.emplace("If-Match", *std::move(tag));
  }
  runRequestWithURL(
      [weak = weak(), weakUpload, headers = std::move(headers), ccrToken](const std::string& base, Completion done) {
        const auto core = weak.lock();
        const auto upload = weakUpload.lock();
        if (core == nullptr || upload == nullptr) return;
        ServiceRequest request;
        request.url = core->serviceURL(&QLCAppInfo::zephraSettingsURL, base);
        request.type = "PATCH";
        request.headers = headers;
        request.ccrToken = ccrToken;
        request.params = Map{{"values", upload->values}};
        request.onSuccess = [weak](const std::string&, std::optional<std::string> eTag) -> ErrorRef {
          if (const auto alive = weak.lock()) {
            const platform::MutexLock lock(alive->fieldsMutex_);
            alive->newestTag_ = sendableTag(std::move(eTag));
          }
          return nullptr;
        };
        request.onBadRequest = [weak, weakUpload, ccrToken](int status, Completion repeated) {
          if (const auto alive = weak.lock()) alive->recoverUpload(weakUpload, ccrToken, status, std::move(repeated));
        };
        request.onBackOff = [weak, weakUpload, ccrToken](int, Completion repeated, std::int64_t delay) {
          const auto alive = weak.lock();
          const auto repeatedUpload = weakUpload.lock();
          if (alive == nullptr || repeatedUpload == nullptr) return;
          repeatedUpload->countOther();
          alive->retrySetSettings(weakUpload, ccrToken, std::move(repeated), delay);
        };
        request.completion = std::move(done);
        request.claim = upload;
        core->sendSettingsRequest(std::move(request));
      },
      std::move(completion));
}

// After a 412 or a 400: fetches the settings, which brings the tag and the settings up to date, and sends again.
void ManagerCore::recoverUpload(const WeakUpload& weakUpload, const platform::Secret& ccrToken, int status,
                                Completion completion) {
  const auto upload = weakUpload.lock();
  if (upload == nullptr) return;
  const bool mismatch = status == 412;
  const std::uint32_t random = platform_.secureRandom();
  const std::int64_t delay = mismatch ? upload->countMismatch(random) : upload->countBadRequest(random);
  if (upload->badRequestsExhausted()) {
    completion(makeError(ZephraErrorCode::badRequest));
    return;
  }
  getSettings(ccrToken, mismatch ? Condition::unconditional : Condition::ifChanged,
              [weak = weak(), weakUpload, ccrToken, completion = std::move(completion), delay](const ErrorRef& error) {
                const auto core = weak.lock();
                if (core == nullptr) return;
                if (error != nullptr) {
                  completion(error);
                } else {
                  core->retrySetSettings(weakUpload, ccrToken, completion, delay);
                }
              });
}

void ManagerCore::retrySetSettings(const WeakUpload& upload, const platform::Secret& ccrToken, Completion completion,
                                   std::int64_t delay) {
  log_.info("Will retry patching settings in " + std::to_string(delay) + " seconds");
  queue().postAfter(std::chrono::seconds(delay),
                    [weak = weak(), log = log_, upload, ccrToken, completion = std::move(completion)] {
                      log.info("Firing retry now");
                      if (const auto core = weak.lock()) core->patchSettings(upload, ccrToken, completion);
                    });
}

}  // namespace qlczephra
