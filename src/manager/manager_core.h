// What stands behind a QLCZephraManager.
//
// The host holds the manager, the manager holds its core, and everything that is handed to a queue, to the host or to
// the HTTP layer holds the core weakly (WeakCore). When the host lets its manager go the core is closed: whoever comes
// later finds it gone, even if a step that began before still has it in hand.
//
// One file for each matter: manager_core.cpp (fields, accessors), token_step.cpp, service_call.cpp, settings_fetch.cpp,
// local_changes.cpp, settings_upload.cpp, push_registration.cpp.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "manager/manager_log.h"
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
#include "transport/status_handling.h"

namespace qlczephra {

class ManagerCore;

class WeakCore {
 public:
  explicit WeakCore(const std::shared_ptr<ManagerCore>& core) noexcept : core_(core) {}
  // Null once the host has let the manager go.
  [[nodiscard]] std::shared_ptr<ManagerCore> lock() const noexcept;

 private:
  std::weak_ptr<ManagerCore> core_;
};

class ManagerCore : public ChangesSender, public std::enable_shared_from_this<ManagerCore> {
 public:
  ManagerCore(std::shared_ptr<QLCAppInfo> appInfo, std::shared_ptr<QLCServicesURLsProviderProtocol> urlsProvider,
              const std::shared_ptr<QLCZephraAuthenticationDelegate>& authDelegate, platform::Platform& platform);

  // From now on no call into host code begins for this manager, and its upload, if there is one, is another's to send
  // once the transfer that runs has ended.
  void close() noexcept QLCZ_EXCLUDES(fieldsMutex_);
  [[nodiscard]] bool isClosed() const noexcept { return closed_.load(); }

  [[nodiscard]] std::optional<platform::Secret> ccrToken() const QLCZ_EXCLUDES(fieldsMutex_);
  void setCcrToken(std::optional<platform::Secret> token) QLCZ_EXCLUDES(fieldsMutex_);
  void clearCCRToken();
  [[nodiscard]] std::optional<std::string> localFilePath() const QLCZ_EXCLUDES(fieldsMutex_);
  void setLocalFilePath(const std::optional<std::string>& path) QLCZ_EXCLUDES(fieldsMutex_);
  [[nodiscard]] std::optional<std::string> patchFilePath() const QLCZ_EXCLUDES(fieldsMutex_);
  void setPatchFilePath(const std::optional<std::string>& path) QLCZ_EXCLUDES(fieldsMutex_);
  [[nodiscard]] const PublishedState& settings() const noexcept { return currentSettings_; }
  void setCurrentSettings(std::optional<Map> settings);

  void updateLocalSettings();
  void fetchRemoteSettings(Completion completion);
  void setSettingValue(std::string_view path, const Value& value);
  void setPNSID(std::string id, Completion completion);

  bool sendPending(const PendingChanges& changes) override;

 private:
  // ---- token step
  using TokenOperation = std::function<void(const platform::Secret& ccrToken, Completion completion)>;

  // Runs `operation` with the cached token, or with the one that the delegate gives, on the request queue; without a
  // token `completion` gets the delegate's error. Returns at once.
  void performOnQueueWithCCRToken(TokenOperation operation, Completion completion);
  void askDelegate(TokenOperation operation, Completion completion);
  void acceptCredentials(const std::optional<platform::Secret>& token, const ErrorRef& error,
                         const TokenOperation& operation, const Completion& completion);

  // ---- service calls
  // Applies a successful reply; what it returns becomes the result of the call.
  using OnSuccess = std::function<ErrorRef(const std::string& body, std::optional<std::string> eTag)>;
  // Goes on after a reply that does not end the call.
  using OnBadRequest = std::function<void(int status, Completion completion)>;
  // Repeats the call `delay` seconds after a reply with this status.
  using OnBackOff = std::function<void(int status, Completion completion, std::int64_t delay)>;

  struct ServiceRequest {
    std::string url;
    std::string type;  // HTTP method
    HeaderMap headers;
    platform::Secret ccrToken;
    std::optional<Map> params;
    OnSuccess onSuccess;        // may be empty
    OnBadRequest onBadRequest;  // may be empty: the call then ends with `badRequest`
    OnBackOff onBackOff;
    std::function<void(Completion completion)> onNotModified;  // may be empty: a 304 then ends the call with success
    Completion completion;
    std::shared_ptr<const Upload> claim;  // of an upload: held while the transfer runs
  };

  // Asks the URL provider for the service's base URL and runs `operation` with it on the thread on which the provider
  // answers; without a URL `completion` gets the provider's error or `noServiceURL`.
  void runRequestWithURL(std::function<void(const std::string& base, Completion completion)> operation,
                         Completion completion);
  // What the host's app info, which may be a class of its own, says; where it throws, nothing, and a request without a
  // URL ends as one that cannot be sent.
  [[nodiscard]] HeaderMap ownHeaders();
  [[nodiscard]] std::string serviceURL(std::string (QLCAppInfo::*operation)(const std::string& base) const,
                                       const std::string& base);
  // Sends the request and acts on the status of the reply: ends the call, or lets it go on.
  void sendSettingsRequest(ServiceRequest request);
  // What a successful reply comes to. Memory that runs out ends the call with an error, not without one.
  [[nodiscard]] ErrorRef applyReply(const ServiceRequest& request, const std::string& body,
                                    std::optional<std::string> eTag);
  void handleReply(const ServiceRequest& request, const std::string& body, int status, std::optional<std::string> eTag,
                   std::optional<QLMError> error) QLCZ_EXCLUDES(fieldsMutex_);

  // ---- fetch
  // Whether a fetch names the document that it has. One that recovers from a wrong tag must not.
  enum class Condition : bool { ifChanged, unconditional };
  void getSettings(const platform::Secret& ccrToken, Condition condition, Completion completion);
  void retryFetchSettings(const platform::Secret& ccrToken, Condition condition, Completion completion,
                          std::int64_t delay);
  ErrorRef applyDocument(const std::string& body, std::optional<std::string> eTag, PendingChanges& changes,
                         const PendingChanges::Ticket& ticket);
  void acceptNotModified(const std::string& sentTag, const platform::Secret& ccrToken, Completion completion)
      QLCZ_EXCLUDES(fieldsMutex_);
  void beginFetch(Completion completion);
  void finishFetch() noexcept { sendingGetRequest_ = false; }
  // Writes the local settings file, `before` being the settings that were in use until now. Under the patch lock.
  void storeSettings(const std::string& path, const Map& settings, const std::optional<Map>& before);
  // Returns an entity tag that can go back byte for byte (RFC 9110 section 8.8.3); nullopt for one that cannot, or that
  // is longer than 1 KB, since servers refuse requests with large header fields.
  [[nodiscard]] static std::optional<std::string> sendableTag(std::optional<std::string> eTag);

  // ---- changes and their upload
  // A claim that something waiting holds: it is gone once the manager is.
  using WeakUpload = std::weak_ptr<Upload>;

  void sendFrom(const std::shared_ptr<PendingChanges>& changes);
  void carryOn(const std::shared_ptr<PendingChanges>& changes, PendingChanges::Start start);
  void endPauseAfter(const std::shared_ptr<PendingChanges>& changes, PendingChanges::Pause pause);
  // To be called when something has changed that may make the service take what it refused.
  void endPauseEarly() QLCZ_EXCLUDES(fieldsMutex_);
  void beginUpload(const std::shared_ptr<PendingChanges>& changes, std::shared_ptr<Upload> upload)
      QLCZ_EXCLUDES(fieldsMutex_);
  void endUpload(const std::shared_ptr<PendingChanges>& changes, const std::shared_ptr<Upload>& upload,
                 const ErrorRef& error) QLCZ_EXCLUDES(fieldsMutex_);
  void patchSettings(const WeakUpload& weakUpload, const platform::Secret& ccrToken, Completion completion);
  void recoverUpload(const WeakUpload& weakUpload, const platform::Secret& ccrToken, int status, Completion completion);
  void retrySetSettings(const WeakUpload& upload, const platform::Secret& ccrToken, Completion completion,
                        std::int64_t delay);

  // ---- push-notification id
  void patchPNSID(const std::string& id, const platform::Secret& ccrToken, Completion completion);
  void retrySetPNSID(const std::string& id, const platform::Secret& ccrToken, Completion completion,
                     std::int64_t delay);

  // ---- what they share
  [[nodiscard]] WeakCore weak() noexcept { return WeakCore(shared_from_this()); }
  // The request queue.
  [[nodiscard]] platform::SerialQueue& queue() QLCZ_EXCLUDES(fieldsMutex_);
  // The owner of the files at the present patch file path.
  [[nodiscard]] std::shared_ptr<PendingChanges> pendingChanges() QLCZ_EXCLUDES(fieldsMutex_);
  // Calls host code unless the host has let the manager go. No lock may be held.
  template <typename Code>
  void callHost(std::string_view what, Code&& code) noexcept {
    if (!isClosed()) platform::callHost(platform_, what, std::forward<Code>(code));
  }

  platform::Platform& platform_;
  const ManagerLog log_;
  std::atomic<std::size_t> localFileSize_{0};  // as it was last written
  std::atomic<bool> closed_{false};
  std::atomic<bool> sendingGetRequest_{false};  // a fetch is running
  // Of the file at the present path: whether stale replacements were swept, and others' access was looked at.
  std::atomic<bool> localFileSwept_{false};
  std::atomic<bool> localFileSeen_{false};

  const std::shared_ptr<QLCAppInfo> appInfo_;
  const std::shared_ptr<QLCServicesURLsProviderProtocol> urlsProvider_;
  const std::weak_ptr<QLCZephraAuthenticationDelegate> authDelegate_;
  QLCNetworkRequest networkRequest_;
  PublishedState currentSettings_;

  // Taken last, for single steps on the fields below.
  mutable platform::Mutex fieldsMutex_;
  // Made when it is first needed, and then the same for good: a manager that only reads does without.
  std::shared_ptr<platform::SerialQueue> queue_ QLCZ_GUARDED_BY(fieldsMutex_);
  std::optional<platform::Secret> ccrToken_ QLCZ_GUARDED_BY(fieldsMutex_);
  StatusHandling statusHandling_ QLCZ_GUARDED_BY(fieldsMutex_);
  SharedText localFilePath_ QLCZ_GUARDED_BY(fieldsMutex_);
  SharedText patchFilePath_ QLCZ_GUARDED_BY(fieldsMutex_);
  std::shared_ptr<PendingChanges> pendingChanges_ QLCZ_GUARDED_BY(fieldsMutex_);  // made when it is first needed
  // Tag of the document that `currentSettings_` was made from, for If-None-Match.
  SharedText documentTag_ QLCZ_GUARDED_BY(fieldsMutex_);
  // Tag that the newest successful reply brought, an upload's included, for If-Match.
  SharedText newestTag_ QLCZ_GUARDED_BY(fieldsMutex_);
  std::shared_ptr<Upload> upload_ QLCZ_GUARDED_BY(fieldsMutex_);  // this manager's, while it runs
};

}  // namespace qlczephra
