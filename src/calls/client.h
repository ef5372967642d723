// Client: what the calls of one manager share.
//
// The manager owns its client, and the client owns the calls that run. Everything that is handed to a queue, to the
// host or to the HTTP layer holds a call weakly; so a manager that goes takes its calls with it, and what comes later
// finds nothing. A step that began before may still have the client in hand, and finds it closed.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pending/pending_changes.h"
#include "platform/host_call.h"
#include "platform/mutex.h"
#include "platform/platform.h"
#include "platform/secret.h"
#include "qlczephra/app_info.h"
#include "qlczephra/authentication_delegate.h"
#include "qlczephra/error.h"
#include "qlczephra/network_request.h"
#include "qlczephra/services_urls_provider.h"
#include "qlczephra/value.h"
#include "state/published_state.h"
#include "state/shared_text.h"
#include "transport/manager_log.h"
#include "transport/status_handling.h"

namespace qlczephra {

class ServiceCall;

// Thread-safe.
class Client : public ChangesSender, public std::enable_shared_from_this<Client> {
 public:
  Client(std::shared_ptr<QLCAppInfo> appInfo, std::shared_ptr<QLCServicesURLsProviderProtocol> urlsProvider,
         const std::shared_ptr<QLCZephraAuthenticationDelegate>& authDelegate, platform::Platform& platform);
  ~Client() override;

  // From now on no call into host code begins, and no call of this client goes on. A transfer that runs goes on to its
  // end, unheard.
  void close() noexcept QLCZ_EXCLUDES(mutex_);
  [[nodiscard]] bool isClosed() const noexcept { return closed_.load(); }

  [[nodiscard]] platform::Platform& platform() const noexcept { return platform_; }
  [[nodiscard]] const ManagerLog& log() const noexcept { return log_; }
  // Returns the request queue.
  [[nodiscard]] platform::SerialQueue& queue() QLCZ_EXCLUDES(mutex_);
  [[nodiscard]] QLCNetworkRequest& networkRequest() noexcept { return networkRequest_; }

  // Keeps a call alive until it is removed.
  void add(std::shared_ptr<ServiceCall> call) QLCZ_EXCLUDES(mutex_);
  void remove(const ServiceCall& call) noexcept QLCZ_EXCLUDES(mutex_);

  // ---- the host
  // Calls host code unless the host has let the manager go. No lock may be held.
  template <typename Code>
  void callHost(std::string_view what, Code&& code) noexcept {
    if (!isClosed()) platform::callHost(platform_, what, std::forward<Code>(code));
  }
  // Null when the host's delegate is gone.
  [[nodiscard]] std::shared_ptr<QLCZephraAuthenticationDelegate> authDelegate() const { return authDelegate_.lock(); }
  [[nodiscard]] QLCServicesURLsProviderProtocol& urlsProvider() const noexcept { return *urlsProvider_; }
  // What the host's app info, which may be a class of its own, says. Where it throws, nothing, and a request without a
  // URL ends as one that cannot be sent.
  [[nodiscard]] HeaderMap ownHeaders();
  [[nodiscard]] std::string serviceURL(std::string (QLCAppInfo::*operation)(const std::string& base) const,
                                       const std::string& base);

  // ---- token, tags and retry state
  [[nodiscard]] std::optional<platform::Secret> ccrToken() const QLCZ_EXCLUDES(mutex_);
  void setCcrToken(std::optional<platform::Secret> token) QLCZ_EXCLUDES(mutex_);
  // The tag of the document that the settings were made from, for If-None-Match; and the one that the newest successful
  // reply brought, an upload's included, for If-Match.
  [[nodiscard]] std::optional<std::string> documentTag() const QLCZ_EXCLUDES(mutex_);
  [[nodiscard]] std::optional<std::string> newestTag() const QLCZ_EXCLUDES(mutex_);
  void setDocumentTag(const std::optional<std::string>& tag) QLCZ_EXCLUDES(mutex_);
  void setNewestTag(const std::optional<std::string>& tag) QLCZ_EXCLUDES(mutex_);
  // The retry state that all calls share decides; see StatusHandling.
  [[nodiscard]] ReplyMeaning classify(int status, std::optional<QLMError> error) QLCZ_EXCLUDES(mutex_);

  // ---- settings and files
  [[nodiscard]] PublishedState& settings() noexcept { return currentSettings_; }
  [[nodiscard]] const PublishedState& settings() const noexcept { return currentSettings_; }
  [[nodiscard]] std::optional<std::string> localFilePath() const QLCZ_EXCLUDES(mutex_);
  void setLocalFilePath(const std::optional<std::string>& path) QLCZ_EXCLUDES(mutex_);
  [[nodiscard]] std::optional<std::string> patchFilePath() const QLCZ_EXCLUDES(mutex_);
  void setPatchFilePath(const std::optional<std::string>& path) QLCZ_EXCLUDES(mutex_);
  // Returns the owner of the files at the present patch file path.
  [[nodiscard]] std::shared_ptr<PendingChanges> pendingChanges() QLCZ_EXCLUDES(mutex_);
  // Writes the local settings file, `before` being the settings that were in use until now. Under the patch lock.
  void storeSettings(const std::string& path, const Map& settings, const std::optional<Map>& before) noexcept;
  // Returns whether a fetch may run now; the guard is then to be given back.
  [[nodiscard]] bool takeFetchGuard() noexcept { return !fetching_.exchange(true); }
  void returnFetchGuard() noexcept { fetching_ = false; }

  // ---- uploads of pending changes
  bool sendPending(const PendingChanges& changes) override;
  // Uploads what waits in `changes` unless an upload is in flight.
  void sendFrom(const std::shared_ptr<PendingChanges>& changes) noexcept;
  // Goes on with what PendingChanges has decided: an upload, or a pause.
  void carryOn(const std::shared_ptr<PendingChanges>& changes, PendingChanges::Start start) noexcept;
  // To be called when something has changed that may make the service take what it refused.
  void endPauseEarly() noexcept QLCZ_EXCLUDES(mutex_);

 protected:
  // Of the file at the present path: whether stale replacements were swept, and others' access was looked at.
  std::atomic<bool> localFileSwept_{false};
  std::atomic<bool> localFileSeen_{false};

 private:
  platform::Platform& platform_;
  const ManagerLog log_;
  std::atomic<std::size_t> localFileSize_{0};  // as it was last written
  std::atomic<bool> closed_{false};
  std::atomic<bool> fetching_{false};

  const std::shared_ptr<QLCAppInfo> appInfo_;
  const std::shared_ptr<QLCServicesURLsProviderProtocol> urlsProvider_;
  const std::weak_ptr<QLCZephraAuthenticationDelegate> authDelegate_;
  QLCNetworkRequest networkRequest_;
  PublishedState currentSettings_;

  // Taken last, for single steps on the fields below.
  mutable platform::Mutex mutex_;
  // Made when it is first needed, and then the same for good: a manager that only reads does without.
  std::shared_ptr<platform::SerialQueue> queue_ QLCZ_GUARDED_BY(mutex_);
  std::vector<std::shared_ptr<ServiceCall>> calls_ QLCZ_GUARDED_BY(mutex_);
  std::optional<platform::Secret> ccrToken_ QLCZ_GUARDED_BY(mutex_);
  StatusHandling statusHandling_ QLCZ_GUARDED_BY(mutex_);
  SharedText localFilePath_ QLCZ_GUARDED_BY(mutex_);
  SharedText patchFilePath_ QLCZ_GUARDED_BY(mutex_);
  std::shared_ptr<PendingChanges> pendingChanges_ QLCZ_GUARDED_BY(mutex_);  // made when it is first needed
  SharedText documentTag_ QLCZ_GUARDED_BY(mutex_);
  SharedText newestTag_ QLCZ_GUARDED_BY(mutex_);
};

}  // namespace qlczephra
