// Filling the current settings: from the local settings file, and from the service.
#include <chrono>
#include <utility>

#include "document/patch.h"
#include "document/settings_document.h"
#include "manager/manager_core.h"
#include "platform/replace_file.h"
#include "state/plist_file.h"
#include "transport/errors.h"
#include "transport/header_rules.h"
#include "value/block_arena.h"

namespace qlczephra {

void ManagerCore::updateLocalSettings() {
  const auto path = localFilePath();
  if (!path) log_.process("QLCZephraManager error: Local file path not set");
  const auto changes = pendingChanges();
  std::vector<std::string> errors;
  {
    const platform::MutexLock lock(changes->patchLock());
    std::optional<Map> settings;
    if (path) {
      // The lock is tried for each time; what its last owner left is swept once.
      if (changes->tryLock(errors) && !localFileSwept_.exchange(true)) {
        platform::removeStaleReplacements(platform_.files(), *path);
      }
      const BlockArena arena;  // for a tree that is replaced whole
      const PlistFileContent content = readPlistFile(platform_.files(), *path);
      if (content.state == PlistFileContent::State::good) settings = content.map;
    }
    if (settings) {
      // The file may be older than the changes: its own replacement may have failed where theirs did not.
      const PendingChanges::Layers layers = changes->layers(PendingChanges::Ticket{});
      settings = document::applyPatch(document::applyPatch(*settings, layers.sending), layers.patch);
    }
    {
      // What the file holds need not be the document that the tag speaks of.
      const platform::MutexLock fields(fieldsMutex_);
      documentTag_.reset();
    }
    currentSettings_.publish(std::move(settings));
  }
  for (const std::string& error : errors) log_.error(error);
  if (path && !localFileSeen_.exchange(true)) {
    const std::string concern = platform_.files().concern(*path);
    if (!concern.empty()) log_.error("The local settings file is not this process's alone, " + concern);
  }
  changes->pauseIsOver(changes->presentPause());
  sendFrom(changes);
}

void ManagerCore::storeSettings(const std::string& path, const Map& settings, const std::optional<Map>& before) {
  // Where nothing changed the file holds the settings already, as a rule; a look at it spares the disk.
  std::string present;
  if (before == settings) static_cast<void>(platform_.files().read(path, present));
  // The outcome counts for nobody: the settings are in use, and the next fetch or change writes them again.
  std::string bytes;
  static_cast<void>(writePlistFile(platform_.files(), path, settings, present, localFileSize_.load(), bytes));
  localFileSize_.store(bytes.size());
}

void ManagerCore::fetchRemoteSettings(Completion completion) {
  log_.info("Will fetch new zephra settings");
  if (sendingGetRequest_.exchange(true)) {
    log_.info("There is already on ongoing settings fetching");
    callHost("a fetch completion", [&] { completion(makeError(ZephraErrorCode::fetchInProgress)); });
    return;
  }
  try {
    beginFetch(std::move(completion));
  } catch (...) {  // no memory: the host has the exception, and may fetch again
    finishFetch();
    throw;
  }
}

void ManagerCore::beginFetch(Completion completion) {
  // The end of the fetch; the guard is free before the host hears of it, so that it may fetch again at once.
  const Completion end = [weak = weak(), completion = std::move(completion)](const ErrorRef& error) {
    const auto core = weak.lock();
    if (core == nullptr) return;
    core->finishFetch();
    if (error == nullptr) core->endPauseEarly();
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
      [weak = weak(), done](const platform::Secret& ccrToken, const Completion&) {
        if (const auto core = weak.lock()) core->getSettings(ccrToken, Condition::ifChanged, done);
      },
      end);
}

void ManagerCore::getSettings(const platform::Secret& ccrToken, Condition condition, Completion completion) {
  log_.info("Sending get settings request to zephra");
  HeaderMap headers = ownHeaders();
  std::optional<std::string> sentTag;
  if (condition == Condition::ifChanged) {
    const platform::MutexLock lock(fieldsMutex_);
    sentTag = documentTag_.text();
  }
  if (sentTag) headers.emplace("If-None-Match", *sentTag);
  runRequestWithURL(
      [weak = weak(), headers = std::move(headers), sentTag, ccrToken, condition](const std::string& base,
                                                                                  Completion done) {
        const auto core = weak.lock();
        if (core == nullptr) return;
        ServiceRequest request;
        request.url = core->serviceURL(&QLCAppInfo::zephraSettingsURL, base);
        request.type = "GET";
        request.headers = headers;
        request.ccrToken = ccrToken;
        const auto changes = core->pendingChanges();
        request.onSuccess = [weak, changes, ticket = changes->takeTicket()](
                                const std::string& body, std::optional<std::string> eTag) -> ErrorRef {
          const auto alive = weak.lock();
          return alive == nullptr ? nullptr : alive->applyDocument(body, std::move(eTag), *changes, *ticket);
        };
        request.onBackOff = [weak, ccrToken, condition](int status, Completion repeated, std::int64_t delay) {
          constexpr int headerFieldsTooLarge = 431;
          if (const auto alive = weak.lock()) {
            const Condition next = status == headerFieldsTooLarge ? Condition::unconditional : condition;
            alive->retryFetchSettings(ccrToken, next, std::move(repeated), delay);
          }
        };
        if (sentTag) {
          request.onNotModified = [weak, sentTag, ccrToken](Completion ended) {
            if (const auto alive = weak.lock()) alive->acceptNotModified(*sentTag, ccrToken, std::move(ended));
          };
        }
        request.completion = std::move(done);
        core->sendSettingsRequest(std::move(request));
      },
      std::move(completion));
}

// A 304 speaks of the document that the request named. When the settings were replaced meanwhile, that is not the one
// in use any more, and the document has to be fetched whole.
void ManagerCore::acceptNotModified(const std::string& sentTag, const platform::Secret& ccrToken,
                                    Completion completion) {
  bool inUse = false;
  {
    const platform::MutexLock lock(fieldsMutex_);
    inUse = documentTag_ == sentTag;
  }
  if (inUse) {
    completion(nullptr);
  } else {
    getSettings(ccrToken, Condition::unconditional, std::move(completion));
  }
}

void ManagerCore::retryFetchSettings(const platform::Secret& ccrToken, Condition condition, Completion completion,
                                     std::int64_t delay) {
  log_.error("Will retry getting settings in " + std::to_string(delay) + " seconds");
  queue().postAfter(std::chrono::seconds(delay),
                    [weak = weak(), log = log_, ccrToken, condition, completion = std::move(completion)] {
                      log.error("Firing retry now");
                      if (const auto core = weak.lock()) core->getSettings(ccrToken, condition, completion);
                    });
}

ErrorRef ManagerCore::applyDocument(const std::string& body, std::optional<std::string> eTag, PendingChanges& changes,
                                    const PendingChanges::Ticket& ticket) {
  const auto interpreted = document::SettingsDocument::interpret(body);
  if (const auto* fault = std::get_if<document::NoSettings>(&interpreted)) {
    // A body that is no JSON object is none, which is no failure. What the limits refused is worth a line, since nobody
    // could tell otherwise why a whole reply had no effect.
    if (fault->exceedsLimit) log_.process("QLMNetworkRequest: Error " + fault->reason);
    return fault->isObject ? makeError(ZephraErrorCode::invalidSettings) : nullptr;
  }
  const auto& document = std::get<document::SettingsDocument>(interpreted);
  eTag = sendableTag(std::move(eTag));

  const auto path = localFilePath();
  {
    // One hold for all of it: a change that is made meanwhile is either in the layers read here, or laid over the tree
    // published here.
    const platform::MutexLock lock(changes.patchLock());
    const PendingChanges::Layers layers = changes.layers(ticket);
    const Map tree = document.effectiveTree({&layers.confirmed, &layers.sending, &layers.patch});
    const std::optional<Map> before = currentSettings_.tree();
    currentSettings_.publish(tree);
    {
      // Not before the settings that the tags speak of: memory may run out in between.
      const platform::MutexLock fields(fieldsMutex_);
      newestTag_ = eTag;
      // A document that is older than a confirmed change must not be what a later "not modified" speaks of.
      documentTag_ = layers.confirmed.empty() ? std::move(eTag) : std::nullopt;
    }
    if (path) storeSettings(*path, tree, before);
  }
  if (!path) log_.process("Error: Local file path not set");
  return nullptr;
}

std::optional<std::string> ManagerCore::sendableTag(std::optional<std::string> eTag) {
  constexpr std::size_t longestTag = 1024;
  if (eTag && (eTag->empty() || eTag->size() > longestTag || !transport::survivesAsFieldValue(*eTag))) {
    return std::nullopt;
  }
  return eTag;
}

}  // namespace qlczephra
