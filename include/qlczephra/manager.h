// QLCZephraManager: the one object through which a host uses the settings service. Start here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qlczephra/app_info.h"
#include "qlczephra/authentication_delegate.h"
#include "qlczephra/error.h"
#include "qlczephra/error_code.h"
#include "qlczephra/manager_protocol.h"
#include "qlczephra/services_urls_provider.h"
#include "qlczephra/setting_path.h"
#include "qlczephra/value.h"

namespace qlczephra {

namespace platform {
class Platform;
}
class ManagerCore;

// Keeps the settings of one user id: fetches them from the service, keeps them in a file, answers reads from memory. A
// manager is cheap: it has no thread and no connection of its own.
//
// Lifetime. The manager owns `appInfo` and `urlsProvider` together with the host, and holds `authDelegate` weakly: a
// delegate that is gone gives no answer. Destroying the manager waits for nothing, cancels nothing that was sent, and
// may happen on any thread and inside any callback; from then on no call to the delegate, the URL provider or a
// completion begins (one that another thread has begun may still finish), and completions still waiting never run.
//
// Threads. Completions run on the caller's thread (`fetchInProgress`), on the manager's request queue (no token), on
// the thread on which the URL provider answers (no URL), and else on a reply queue of the library. An exception that
// leaves host code is logged and dropped.
//
// A `fork` is survived only by a child that goes on to exec.
class QLCZEPHRA_EXPORT QLCZephraManager final : public QLCZephraManagerProtocol {
 public:
  using ZephraErrorCode = qlczephra::ZephraErrorCode;

  // Of errors that the manager itself makes: "com.quellin.qlczephra".
  [[nodiscard]] static const std::string& errorDomain();

  // Reads no file and sends nothing. None of the three may be null (std::invalid_argument).
  QLCZephraManager(std::shared_ptr<QLCAppInfo> appInfo, std::shared_ptr<QLCServicesURLsProviderProtocol> urlsProvider,
                   std::shared_ptr<QLCZephraAuthenticationDelegate> authDelegate);
  // For the library's own use: as above, on the given platform, which must outlive all that the manager began.
  QLCZephraManager(std::shared_ptr<QLCAppInfo> appInfo, std::shared_ptr<QLCServicesURLsProviderProtocol> urlsProvider,
                   std::shared_ptr<QLCZephraAuthenticationDelegate> authDelegate, platform::Platform& platform);
  ~QLCZephraManager() override;
  QLCZephraManager(const QLCZephraManager&) = delete;
  QLCZephraManager& operator=(const QLCZephraManager&) = delete;

  [[nodiscard]] std::optional<std::string> ccrToken() const override;
  // Replaces the cached token, for the calls made from now on; none makes the next call ask the delegate.
  void setCcrToken(std::optional<std::string> token);
  [[nodiscard]] std::optional<std::string> localFilePath() const override;
  void setLocalFilePath(std::optional<std::string> path) override;
  [[nodiscard]] std::optional<std::string> patchFilePath() const override;
  void setPatchFilePath(std::optional<std::string> path) override;
  // The effective settings tree: root section to setting node, a node being a map with "v" (the value, or the map of a
  // group's children), "ro" (read-only; absent means false) and "dynamic" (only when true); an empty map stands for a
  // property without usable schema. Null before the first fetch or update.
  [[nodiscard]] std::optional<Map> currentSettings() const;
  // Replaces the tree in memory only. A tree nested deeper than the library can store is refused with a logged error.
  void setCurrentSettings(std::optional<Map> settings);

  void clearCCRToken() override;
  void updateLocalSettings() override;
  void fetchRemoteSettings(Completion completion) override;

  // The map of getDictValue() with every node replaced by its plain value, down to the leaves.
  [[nodiscard]] std::optional<Map> getFlattenedDict(std::string_view path) const;
  [[nodiscard]] std::optional<Value> getSettingValue(std::string_view path) const override;
  [[nodiscard]] std::optional<Map> getDictValue(std::string_view path) const override;
  [[nodiscard]] std::optional<bool> getBoolValue(std::string_view path) const override;
  [[nodiscard]] std::optional<std::int64_t> getNumberValue(std::string_view path) const override;
  [[nodiscard]] std::optional<std::string> getStringValue(std::string_view path) const override;
  // The same with a path that was prepared for many reads.
  [[nodiscard]] std::optional<Value> getSettingValue(const SettingPath& path) const;
  [[nodiscard]] std::optional<Map> getDictValue(const SettingPath& path) const;
  [[nodiscard]] std::optional<bool> getBoolValue(const SettingPath& path) const;
  [[nodiscard]] std::optional<std::int64_t> getNumberValue(const SettingPath& path) const;
  [[nodiscard]] std::optional<std::string> getStringValue(const SettingPath& path) const;

  // The names of a group's properties, in the order of Map.
  [[nodiscard]] std::optional<std::vector<std::string>> getProperties(std::string_view path) const;
  [[nodiscard]] std::optional<bool> getSettingIsReadonly(std::string_view path) const override;

  void setSettingValue(std::string_view path, const Value& value) override;
  void setBoolValue(std::string_view path, bool value) override;
  void setStringValue(std::string_view path, std::string_view value) override;
  void setObjectValue(std::string_view path, const Value& value) override;
  void setPNSID(std::string id, Completion completion) override;

  [[nodiscard]] QLTimeLimits timeLimits() const override;
  [[nodiscard]] std::optional<QLCurfew> curfew() const override;
  [[nodiscard]] std::optional<QLQuota> quota() const override;
  [[nodiscard]] std::optional<QLCBrowsingProtection> browsingProtection() const override;
  [[nodiscard]] std::optional<QLContentCategories> contentCategories() const override;
  [[nodiscard]] std::optional<QLCSchedule> schedule() const override;
  [[nodiscard]] std::optional<QLCPMProxySettings> pmProxySettings() const override;
  [[nodiscard]] QLCFirewall firewall() const override;
  [[nodiscard]] std::optional<QLCVORT2Settings> vort2ProxySettings() const override;

  // "/usr/local/quellin/corlane/sysconfig/settings/zephra-<uid>.plist" and ".../patch-<uid>.plist"; user id 1 shares
  // the files of user id 0. Touch no file.
  [[nodiscard]] static std::string localSettingsFileForUid(std::int64_t uid);
  [[nodiscard]] static std::string patchSettingsFileForUid(std::int64_t uid);

 private:
  std::shared_ptr<ManagerCore> core_;
};

}  // namespace qlczephra
