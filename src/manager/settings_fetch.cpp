// Filling the current settings: from the local settings file, and from the service.
#include <chrono>
#include <utility>

#include "document/settings_document.h"
#include "manager/errors.h"
#include "manager/manager_core.h"
#include "manager/settings_file.h"
#include "transport/header_rules.h"

namespace qlczephra {

void ManagerCore::updateLocalSettings() {
  const auto path = localFilePath();
  if (!path) log_.process("QLCZephraManager error: Local file path not set");
  const auto changes = pendingChanges();
  const platform::MutexLock lock(changes->patchLock());
  std::optional<Map> settings = path ? readMapFile(platform_.files(), *path) : std::nullopt;
  {
    // What the file holds need not be the document that the tag speaks of.
    const platform::MutexLock fields(fieldsMutex_);
    documentTag_.reset();
  }
  currentSettings_.publish(std::move(settings));
}

void ManagerCore::fetchRemoteSettings(Completion completion) {
  log_.info("Will fetch new zephra settings");
  bool refused = false;
  {
    const platform::MutexLock lock(fetchSettingsLock_);
    refused = std::exchange(sendingGetRequest_, true);
  }
  if (refused) {
    log_.info("There is already on ongoing settings fetching");
    callHost("a fetch completion", [&] { completion(makeError(QLCZephraManager::ZephraErrorCode::fetchInProgress)); });
    return;
  }

  // The end of the fetch; the guard is free before the host hears of it, so that it may fetch again at once.
  const Completion end = [weak = weak(), completion = std::move(completion)](const ErrorRef& error) {
    const auto core = weak.lock();
    if (core == nullptr) return;
    core->finishFetch();
    core->callHost("a fetch completion", [&] { completion(error); });
  };
  const Completion done = [log = log_, end](const ErrorRef& error) {
    if (error != nullptr) {
      log.error("Failed to fetch zephra settings with error: " + error->text());
    } else {
      log.info("Zephra settings successfully fetched");
    }
    end(error);
  };
  performOnQueueWithCCRToken(
      [weak = weak(), done](const std::string& ccrToken, const Completion&) {
        if (const auto core = weak.lock()) core->getSettings(ccrToken, done);
      },
      end);
}

void ManagerCore::finishFetch() {
  const platform::MutexLock lock(fetchSettingsLock_);
  sendingGetRequest_ = false;
}

void ManagerCore::getSettings(const std::string& ccrToken, Completion completion) {
  log_.info("Sending get settings request to zephra");
  HeaderMap headers{{"User-Agent", appInfo_->userAgent()}};
  {
    const platform::MutexLock lock(fieldsMutex_);
    if (documentTag_) headers.emplace("If-None-Match", *documentTag_);
  }
  runRequestWithURL(
      [weak = weak(), headers = std::move(headers), ccrToken](const std::string& base, Completion done) {
        const auto core = weak.lock();
        if (core == nullptr) return;
        ServiceRequest request;
        request.url = core->appInfo_->zephraSettingsURL(base);
        request.type = "GET";
        request.headers = headers;
        request.ccrToken = ccrToken;
        request.onSuccess = [weak](std::optional<Map> body, std::optional<std::string> eTag) -> ErrorRef {
          const auto alive = weak.lock();
          return alive == nullptr ? nullptr : alive->applyDocument(body, std::move(eTag));
        };
        request.onBackOff = [weak, ccrToken](Completion repeated, std::int64_t delay) {
          if (const auto alive = weak.lock()) alive->retryFetchSettings(ccrToken, std::move(repeated), delay);
        };
        request.completion = std::move(done);
        core->sendSettingsRequest(std::move(request));
      },
      std::move(completion));
}

void ManagerCore::retryFetchSettings(const std::string& ccrToken, Completion completion, std::int64_t delay) {
  log_.error("Will retry getting settings in " + std::to_string(delay) + " seconds");
  queue_->postAfter(std::chrono::seconds(delay),
                    [weak = weak(), log = log_, ccrToken, completion = std::move(completion)] {
                      log.error("Firing retry now");
                      if (const auto core = weak.lock()) core->getSettings(ccrToken, completion);
                    });
}

ErrorRef ManagerCore::applyDocument(const std::optional<Map>& body, std::optional<std::string> eTag) {
  if (!body) return nullptr;
  const auto document = document::SettingsDocument::interpret(*body);
  if (!document) return makeError(QLCZephraManager::ZephraErrorCode::invalidSettings);
  if (eTag && (eTag->empty() || !transport::survivesAsFieldValue(*eTag))) eTag.reset();

  const auto path = localFilePath();
  const auto changes = pendingChanges();
  {
    // One hold for all of it: a change that is made meanwhile is either in the layers read here, or laid over the tree
    // published here.
    const platform::MutexLock lock(changes->patchLock());
    const PendingChanges::Layers layers = changes->layers();
    const Map tree = document->effectiveTree(layers.sending, layers.patch);
    {
      const platform::MutexLock fields(fieldsMutex_);
      documentTag_ = std::move(eTag);
    }
    currentSettings_.publish(tree);
    // The outcome counts for nobody: the settings are in use, and the next fetch writes them again.
    if (path) static_cast<void>(writeMapFile(platform_.files(), *path, tree));
  }
  if (!path) log_.process("Error: Local file path not set");
  return nullptr;
}

}  // namespace qlczephra
