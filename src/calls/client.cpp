#include "calls/client.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>

#include "calls/settings_upload.h"
#include "state/plist_file.h"
#include "transport/errors.h"

namespace qlczephra {

namespace {

constexpr const char* requestQueueLabel = "com.quellin.qlczephra.requests-queue";

}  // namespace

Client::Client(std::shared_ptr<QLCAppInfo> appInfo, std::shared_ptr<QLCServicesURLsProviderProtocol> urlsProvider,
               const std::shared_ptr<QLCZephraAuthenticationDelegate>& authDelegate, platform::Platform& platform)
    : platform_(platform),
      log_(platform.log()),
      appInfo_(std::move(appInfo)),
      urlsProvider_(std::move(urlsProvider)),
      authDelegate_(authDelegate),
      networkRequest_(platform),
      currentSettings_(platform),
      statusHandling_(platform) {
  static_cast<void>(outOfMemoryError());  // while there is memory
}

Client::~Client() = default;

void Client::close() noexcept {
  closed_.store(true);
  std::vector<std::shared_ptr<ServiceCall>> calls;  // go after the lock: what they hold may be the host's
  const platform::MutexLock lock(mutex_);
  calls.swap(calls_);
}

platform::SerialQueue& Client::queue() {
  const platform::MutexLock lock(mutex_);
  if (queue_ == nullptr) queue_ = platform_.makeSerialQueue(requestQueueLabel);
  return *queue_;
}

void Client::add(std::shared_ptr<ServiceCall> call) {
  const platform::MutexLock lock(mutex_);
  if (!isClosed()) calls_.push_back(std::move(call));
}

void Client::remove(const ServiceCall& call) noexcept {
  std::shared_ptr<ServiceCall> removed;
  const platform::MutexLock lock(mutex_);
  const auto found =
      std::find_if(calls_.begin(), calls_.end(), [&](const auto& known) { return known.get() == &call; });
  if (found == calls_.end()) return;
  removed = std::move(*found);
  calls_.erase(found);
}

HeaderMap Client::ownHeaders() {
  HeaderMap headers;
  callHost("an app info", [&] { headers.emplace("User-Agent", appInfo_->userAgent()); });
  return headers;
}

std::string Client::serviceURL(std::string (QLCAppInfo::*operation)(const std::string& base) const,
                               const std::string& base) {
  std::string url;
  callHost("an app info", [&] { url = ((*appInfo_).*operation)(base); });
  return url;
}

std::optional<platform::Secret> Client::ccrToken() const {
  const platform::MutexLock lock(mutex_);
  return ccrToken_;
}

void Client::setCcrToken(std::optional<platform::Secret> token) {
  std::shared_ptr<PendingChanges> changes;
  {
    const platform::MutexLock lock(mutex_);
    ccrToken_ = std::move(token);
    changes = pendingChanges_;
  }
  // The pause of this moment: one that begins later knows the token already.
  const std::uint64_t pause = changes == nullptr ? 0 : changes->presentPause();
  if (pause == 0) return;
  // On the queue: an upload that may go on now works on files, and a setter does not.
  queue().post([weak = weak_from_this(), changes, pause] {
    const auto client = weak.lock();
    if (client != nullptr && !client->isClosed()) changes->pauseIsOver(pause);
  });
}

std::optional<std::string> Client::documentTag() const {
  const platform::MutexLock lock(mutex_);
  return documentTag_.text();
}

std::optional<std::string> Client::newestTag() const {
  const platform::MutexLock lock(mutex_);
  return newestTag_.text();
}

void Client::setDocumentTag(const std::optional<std::string>& tag) {
  SharedText text(tag);
  const platform::MutexLock lock(mutex_);
  documentTag_ = std::move(text);
}

void Client::setNewestTag(const std::optional<std::string>& tag) {
  SharedText text(tag);
  const platform::MutexLock lock(mutex_);
  newestTag_ = std::move(text);
}

ReplyMeaning Client::classify(int status, std::optional<QLMError> error) {
  const platform::MutexLock lock(mutex_);
  return statusHandling_.classify(status, error);
}

std::optional<std::string> Client::localFilePath() const {
  const platform::MutexLock lock(mutex_);
  return localFilePath_.text();
}

void Client::setLocalFilePath(const std::optional<std::string>& path) {
  const platform::MutexLock lock(mutex_);
  if (localFilePath_ != path) localFileSwept_ = localFileSeen_ = false;
  localFilePath_ = path;
}

std::optional<std::string> Client::patchFilePath() const {
  const platform::MutexLock lock(mutex_);
  return patchFilePath_.text();
}

void Client::setPatchFilePath(const std::optional<std::string>& path) {
  std::shared_ptr<PendingChanges> left;  // goes after the lock
  const platform::MutexLock lock(mutex_);
  if (patchFilePath_ == path) return;
  patchFilePath_ = path;
  left.swap(pendingChanges_);
}

std::shared_ptr<PendingChanges> Client::pendingChanges() {
  SharedText path;
  {
    const platform::MutexLock lock(mutex_);
    if (pendingChanges_ != nullptr) return pendingChanges_;
    path = patchFilePath_;
  }
  auto changes = PendingChanges::at(platform_, path);
  if (changes->hasFiles()) changes->addSender(shared_from_this());
  const platform::MutexLock lock(mutex_);
  if (!(patchFilePath_ == path)) return changes;
  // Another thread may have come first; without files each call makes an object, and its lock must be one.
  if (pendingChanges_ == nullptr) pendingChanges_ = std::move(changes);
  return pendingChanges_;
}

void Client::storeSettings(const std::string& path, const Map& settings, const std::optional<Map>& before) noexcept
    try {
  // Where nothing changed the file holds the settings already, as a rule; a look at it spares the disk.
  std::string present;
  if (before == settings) static_cast<void>(platform_.files().read(path, present));
  // The outcome counts for nobody: the settings are in use, and the next fetch or change writes them again.
  std::string bytes;
  static_cast<void>(writePlistFile(platform_.files(), path, settings, present, localFileSize_.load(), bytes));
  localFileSize_.store(bytes.size());
} catch (const std::exception&) {  // no memory for it
}

// ---- uploads

bool Client::sendPending(const PendingChanges& changes) {
  if (isClosed()) return false;
  const auto present = pendingChanges();
  if (present.get() != &changes) return false;
  sendFrom(present);
  return true;
}

void Client::sendFrom(const std::shared_ptr<PendingChanges>& changes) noexcept try {
  std::vector<std::string> errors;
  PendingChanges::Start start;
  {
    const platform::MutexLock lock(changes->patchLock());
    start = changes->startUpload(*this, errors);
  }
  for (const std::string& error : errors) log_.error(error);
  carryOn(changes, std::move(start));
} catch (const std::exception&) {
  changes->giveUp();
}

void Client::carryOn(const std::shared_ptr<PendingChanges>& changes, PendingChanges::Start start) noexcept try {
  // A client that was closed meanwhile does not keep the claim.
  if (start.upload != nullptr && !isClosed()) {
    ServiceCall::begin(std::make_shared<SettingsUpload>(shared_from_this(), changes, std::move(start.upload)));
  }
  if (!start.pause) return;
  // The files outlive this manager when others share them, and the pause is theirs too.
  queue().postAfter(std::chrono::seconds(start.pause->seconds),
                    [weakChanges = std::weak_ptr<PendingChanges>(changes), number = start.pause->number] {
                      if (const auto files = weakChanges.lock()) files->pauseIsOver(number);
                    });
} catch (const std::exception&) {
  // No memory, or no thread: the claim has gone back.
  changes->giveUp();
}

void Client::endPauseEarly() noexcept {
  std::shared_ptr<PendingChanges> changes;
  {
    const platform::MutexLock lock(mutex_);
    changes = pendingChanges_;
  }
  if (changes != nullptr) changes->resume();
}

}  // namespace qlczephra
