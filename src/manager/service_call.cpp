// One call to the service: the base URL, the request, and what the status of the reply means for the call.
#include <exception>
#include <utility>

#include "calls/single_shot_callback.h"
#include "manager/manager_core.h"
#include "transport/errors.h"

namespace qlczephra {

void ManagerCore::runRequestWithURL(std::function<void(const std::string& base, Completion completion)> operation,
                                    Completion completion) {
  auto answer = singleShot([weak = weak(), operation = std::move(operation), completion = std::move(completion)](
                               const ErrorRef& error, const std::optional<std::string>& url) {
    const auto core = weak.lock();
    if (core == nullptr) return;
    if (url) {
      operation(*url, completion);
      return;
    }
    core->log_.error("Failed to get Zephra URL");
    completion(error != nullptr ? error : makeError(ZephraErrorCode::noServiceURL));
  });
  callHost("a URL provider", [&] {
    urlsProvider_->getURLForService(QLCServicesURLsProviderProtocol::settingsService, std::move(answer));
  });
}

HeaderMap ManagerCore::ownHeaders() {
  HeaderMap headers;
  callHost("an app info", [&] { headers.emplace("User-Agent", appInfo_->userAgent()); });
  return headers;
}

std::string ManagerCore::serviceURL(std::string (QLCAppInfo::*operation)(const std::string& base) const,
                                    const std::string& base) {
  std::string url;
  callHost("an app info", [&] { url = ((*appInfo_).*operation)(base); });
  return url;
}

void ManagerCore::sendSettingsRequest(ServiceRequest request) {
  auto shared = std::make_shared<const ServiceRequest>(std::move(request));
  networkRequest_.requestText(
      shared->url, shared->type, shared->headers, shared->ccrToken.text(), shared->params,
      [weak = weak(), log = log_, shared](const std::string& body, int status, std::optional<std::string> eTag,
                                          std::optional<QLMError> error) {
        log.info("Zephra responded with status " + std::to_string(status));
        if (const auto core = weak.lock()) {
          core->handleReply(*shared, body, status, std::move(eTag), error);
        }
      });
}

ErrorRef ManagerCore::applyReply(const ServiceRequest& request, const std::string& body,
                                 std::optional<std::string> eTag) {
  if (!request.onSuccess) return nullptr;
  try {
    return request.onSuccess(body, std::move(eTag));
  } catch (const std::exception&) {
    log_.process("qlczephra: a reply could not be applied for want of memory");
    return makeError(ZephraErrorCode::invalidSettings);
  }
}

void ManagerCore::handleReply(const ServiceRequest& request, const std::string& body, int status,
                              std::optional<std::string> eTag, std::optional<QLMError> error) {
  ReplyMeaning meaning;
  {
    const platform::MutexLock lock(fieldsMutex_);
    meaning = statusHandling_.classify(status, error);
  }
  switch (status) {
    case 400:
      log_.error("Bad request, fetching new settings before retrying");
      break;
    case 401:
      log_.error("CCR token is invalid or expired");
      break;
    case 412:
      log_.error("Wrong etag, will fetch new settings before retrying");
      break;
    default:
      break;
  }
  switch (meaning.next) {
    case ReplyMeaning::Next::success:
      request.completion(applyReply(request, body, std::move(eTag)));
      return;
    case ReplyMeaning::Next::notModified:
      if (request.onNotModified) {
        request.onNotModified(request.completion);
      } else {
        request.completion(nullptr);
      }
      return;
    case ReplyMeaning::Next::backOff:
      request.onBackOff(status, request.completion, meaning.delay);
      return;
    case ReplyMeaning::Next::recover:
      if (request.onBadRequest) {
        request.onBadRequest(status, request.completion);
        return;
      }
      break;
    case ReplyMeaning::Next::failure:
      break;
  }
  if (meaning.code == ZephraErrorCode::unexpectedResponse) {
    log_.error("Unexpected response: " + std::to_string(status));
    request.completion(errorWithCode(*meaning.code, status));
    return;
  }
  request.completion(makeError(*meaning.code));
}

}  // namespace qlczephra
