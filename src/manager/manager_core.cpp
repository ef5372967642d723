#include "manager/manager_core.h"

#include <utility>

#include "platform/plist/plist.h"

namespace qlczephra {

namespace {

constexpr const char* requestQueueLabel = "com.quellin.qlczephra.requests-queue";

}  // namespace

std::shared_ptr<ManagerCore> WeakCore::lock() const noexcept {
  auto core = core_.lock();
  return core != nullptr && !core->isClosed() ? core : nullptr;
}

ManagerCore::ManagerCore(std::shared_ptr<QLCAppInfo> appInfo,
                         std::shared_ptr<QLCServicesURLsProviderProtocol> urlsProvider,
                         const std::shared_ptr<QLCZephraAuthenticationDelegate>& authDelegate,
                         platform::Platform& platform)
    : platform_(platform),
      log_(platform.log()),
      appInfo_(std::move(appInfo)),
      urlsProvider_(std::move(urlsProvider)),
      authDelegate_(authDelegate),
      networkRequest_(platform),
      currentSettings_(platform),
      statusHandling_(platform) {}

platform::SerialQueue& ManagerCore::queue() {
  const platform::MutexLock lock(fieldsMutex_);
  if (queue_ == nullptr) queue_ = platform_.makeSerialQueue(requestQueueLabel);
  return *queue_;
}

std::optional<platform::Secret> ManagerCore::ccrToken() const {
  const platform::MutexLock lock(fieldsMutex_);
  return ccrToken_;
}

void ManagerCore::setCcrToken(std::optional<platform::Secret> token) {
  std::shared_ptr<PendingChanges> changes;
  {
    const platform::MutexLock lock(fieldsMutex_);
    ccrToken_ = std::move(token);
    changes = pendingChanges_;
  }
  // The pause of this moment: one that begins later knows the token already.
  const std::uint64_t pause = changes == nullptr ? 0 : changes->presentPause();
  if (pause == 0) return;
  // On the queue: an upload that may go on now works on files, and a setter does not.
  queue().post([weak = weak(), changes, pause] {
    if (weak.lock() != nullptr) changes->pauseIsOver(pause);
  });
}

void ManagerCore::close() noexcept {
  closed_.store(true);
  std::shared_ptr<Upload> orphan;
  const platform::MutexLock lock(fieldsMutex_);
  orphan.swap(upload_);
}

std::optional<std::string> ManagerCore::localFilePath() const {
  const platform::MutexLock lock(fieldsMutex_);
  return localFilePath_.text();
}

void ManagerCore::setLocalFilePath(const std::optional<std::string>& path) {
  const platform::MutexLock lock(fieldsMutex_);
  if (localFilePath_ != path) localFileSwept_ = localFileSeen_ = false;
  localFilePath_ = path;
}

std::optional<std::string> ManagerCore::patchFilePath() const {
  const platform::MutexLock lock(fieldsMutex_);
  return patchFilePath_.text();
}

void ManagerCore::setPatchFilePath(const std::optional<std::string>& path) {
  std::shared_ptr<PendingChanges> left;  // goes after the lock
  const platform::MutexLock lock(fieldsMutex_);
  if (patchFilePath_ == path) return;
  patchFilePath_ = path;
  left.swap(pendingChanges_);
}

std::shared_ptr<PendingChanges> ManagerCore::pendingChanges() {
  SharedText path;
  {
    const platform::MutexLock lock(fieldsMutex_);
    if (pendingChanges_ != nullptr) return pendingChanges_;
    path = patchFilePath_;
  }
  auto changes = PendingChanges::at(platform_, path);
  if (changes->hasFiles()) changes->addSender(shared_from_this());
  const platform::MutexLock lock(fieldsMutex_);
  if (!(patchFilePath_ == path)) return changes;
  // Another thread may have come first; without files each call makes an object, and its lock must be one.
  if (pendingChanges_ == nullptr) pendingChanges_ = std::move(changes);
  return pendingChanges_;
}

void ManagerCore::setCurrentSettings(std::optional<Map> settings) {
  if (settings && settings->nesting() > plist::maximumNesting) {
    log_.error("Settings that are nested too deep were refused");
    return;
  }
  const auto changes = pendingChanges();
  const platform::MutexLock lock(changes->patchLock());
  {
    // The tag spoke of the settings that go now.
    const platform::MutexLock fields(fieldsMutex_);
    documentTag_.reset();
  }
  currentSettings_.publish(std::move(settings));
}

}  // namespace qlczephra
