// Registering the device's push-notification id. Nothing of it is kept: what is not confirmed before the process ends
// is the host's to repeat.
#include <chrono>
#include <utility>

#include "manager/manager_core.h"

namespace qlczephra {

void ManagerCore::setPNSID(std::string id, Completion completion) {
  log_.info("Will update PNS id in zephra");
  Completion end = [weak = weak(), completion = std::move(completion)](const ErrorRef& error) {
    if (const auto core = weak.lock()) {
      if (error == nullptr) core->endPauseEarly();
      core->callHost("a push registration completion", [&] { completion(error); });
    }
  };
  performOnQueueWithCCRToken(
      [weak = weak(), id = std::move(id)](const platform::Secret& ccrToken, const Completion& done) {
        if (const auto core = weak.lock()) core->patchPNSID(id, ccrToken, done);
      },
      std::move(end));
}

void ManagerCore::patchPNSID(const std::string& id, const platform::Secret& ccrToken, Completion completion) {
  log_.info("Sending patch PNS id request to zephra");
  HeaderMap headers = ownHeaders();
  runRequestWithURL(
      [weak = weak(), id, ccrToken, headers = std::move(headers)](const std::string& base, Completion done) {
        const auto core = weak.lock();
        if (core == nullptr) return;
        ServiceRequest request;
        request.url = core->serviceURL(&QLCAppInfo::zephraNodeURL, base);
        request.type = "PATCH";
        request.headers = headers;
        request.ccrToken = ccrToken;
        request.params = Map{{"pns_id", id}};
        request.onBackOff = [weak, id, ccrToken](int, Completion repeated, std::int64_t delay) {
          if (const auto alive = weak.lock()) alive->retrySetPNSID(id, ccrToken, std::move(repeated), delay);
        };
        request.completion = std::move(done);
        core->sendSettingsRequest(std::move(request));
      },
      std::move(completion));
}

void ManagerCore::retrySetPNSID(const std::string& id, const platform::Secret& ccrToken, Completion completion,
                                std::int64_t delay) {
  log_.info("Will retry setting new PNS id in " + std::to_string(delay) + " seconds");
  queue().postAfter(std::chrono::seconds(delay), [weak = weak(), id, ccrToken, completion = std::move(completion)] {
    if (const auto core = weak.lock()) core->patchPNSID(id, ccrToken, completion);
  });
}

}  // namespace qlczephra
