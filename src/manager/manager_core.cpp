#include "manager/manager_core.h"

#include <memory>
#include <utility>
#include <vector>

#include "calls/push_registration.h"
#include "calls/settings_fetch.h"
#include "document/patch.h"
#include "platform/plist/plist.h"
#include "platform/replace_file.h"
#include "state/plist_file.h"

namespace qlczephra {

void ManagerCore::setCurrentSettings(std::optional<Map> settings) {
  if (settings && settings->nesting() > plist::maximumNesting) {
    log().error("Settings that are nested too deep were refused");
    return;
  }
  const auto changes = pendingChanges();
  const platform::MutexLock lock(changes->patchLock());
  setDocumentTag(std::nullopt);  // it spoke of the settings that go now
  this->settings().publish(std::move(settings));
}

std::optional<Map> ManagerCore::loadSettings(const std::string& path, PendingChanges& changes,
                                             std::vector<std::string>& errors) {
  platform::FileStore& files = platform().files();
  // The lock is tried for each time; what its last owner left is swept once.
  if (changes.tryLock(errors) && !localFileSwept_.exchange(true)) platform::removeStaleReplacements(files, path);
  const PlistFileContent content = readPlistFile(files, path);
  if (content.state != PlistFileContent::State::good) return std::nullopt;
  // The file may be older than the changes: its own replacement may have failed where theirs did not.
  const PendingChanges::Layers layers = changes.layers(PendingChanges::Ticket{});
  return document::applyPatch(document::applyPatch(content.map, layers.sending), layers.patch);
}

void ManagerCore::updateLocalSettings() {
  const auto path = localFilePath();
  if (!path) log().process("QLCZephraManager error: Local file path not set");
  const auto changes = pendingChanges();
  std::vector<std::string> errors;
  {
    const platform::MutexLock lock(changes->patchLock());
    auto loaded = path ? loadSettings(*path, *changes, errors) : std::nullopt;
    setDocumentTag(std::nullopt);  // what the file holds need not be the document that it speaks of
    settings().publish(std::move(loaded));
  }
  for (const std::string& error : errors) log().error(error);
  if (path && !localFileSeen_.exchange(true)) {
    const std::string concern = platform().files().concern(*path);
    if (!concern.empty()) log().error("The local settings file is not this process's alone, " + concern);
  }
  changes->resume();
  sendFrom(changes);
}

void ManagerCore::setSettingValue(std::string_view path, const Value& value) {
  log().info("Will update " + std::string(path) + " setting in zephra");
  if (const char* reason = document::whyTooLarge(path, value)) {
    log().error("A change was refused, " + std::string(reason) + ": " + std::string(path.substr(0, 200)));
    return;
  }
  const auto changes = pendingChanges();
  if (!changes->hasFiles()) {
    log().error("Patch file path not usable, change refused: " + patchFilePath().value_or("(not set)"));
    return;
  }
  const auto localPath = localFilePath();
  const Map change = document::makePatch(path, value);
  std::vector<std::string> errors;
  bool accepted = false;
  {
    const platform::MutexLock lock(changes->patchLock());
    if (const auto recording = changes->prepare(change, errors)) {
      const auto before = settings().tree();
      std::unique_ptr<Revision> next;
      if (before) next = std::make_unique<Revision>(Revision{document::applyPatch(*before, recording->patch)});
      // From here on nothing fails for want of memory: the change is in the file, and in the settings too.
      changes->record(*recording, errors);
      accepted = true;
      if (next != nullptr) {
        const Map patched = next->tree;
        settings().publish(std::move(next));
        if (localPath) storeSettings(*localPath, patched, before);
      }
    }
  }
  for (const std::string& error : errors) log().error(error);
  if (!accepted) return;
  if (!localPath) log().process("Error: Local file path not set");
  sendFrom(changes);
}

void ManagerCore::clearCCRToken() {
  queue().postBarrier([weak = weak_from_this(), log = log()] {
    log.info("Clearing CCR token");
    const auto client = weak.lock();
    if (client != nullptr && !client->isClosed()) client->setCcrToken(std::nullopt);
  });
}

void ManagerCore::fetchRemoteSettings(Completion completion) {
  SettingsFetch::beginForHost(shared_from_this(), std::move(completion));
}

void ManagerCore::setPNSID(std::string id, Completion completion) {
  log().info("Will update PNS id in zephra");
  ServiceCall::begin(std::make_shared<PushRegistration>(shared_from_this(), std::move(id), std::move(completion)));
}

}  // namespace qlczephra
