// The host's handle on a manager: forwards, reads, and closes the core when it goes.
#include "qlczephra/manager.h"

#include <stdexcept>
#include <utility>

#include "document/tree_walk.h"
#include "manager/manager_core.h"
#include "policy/views.h"
#include "state/reading.h"

namespace qlczephra {

namespace {

constexpr const char* settingsDirectory = "/usr/local/quellin/corlane/sysconfig/settings/";

std::string pathFor(const char* file, std::int64_t uid) {
  return std::string(settingsDirectory) + file + "-" + std::to_string(uid == 1 ? 0 : uid) + ".plist";
}

// What `view` makes of the present tree. The view works on a share of it: building a record takes long for a read of
// the published state, and may write to standard output.
template <typename Record>
Record recordFrom(const ManagerCore& core, Record (*view)(const policy::Settings&)) {
  const std::optional<Map> tree = core.settings().tree();
  return view(policy::Settings(tree ? &*tree : nullptr));
}

}  // namespace

QLCZephraManager::QLCZephraManager(std::shared_ptr<QLCAppInfo> appInfo,
                                   std::shared_ptr<QLCServicesURLsProviderProtocol> urlsProvider,
                                   std::shared_ptr<QLCZephraAuthenticationDelegate> authDelegate)
    : QLCZephraManager(std::move(appInfo), std::move(urlsProvider), std::move(authDelegate),
                       platform::nativePlatform()) {}

QLCZephraManager::QLCZephraManager(std::shared_ptr<QLCAppInfo> appInfo,
                                   std::shared_ptr<QLCServicesURLsProviderProtocol> urlsProvider,
                                   // NOLINTNEXTLINE(performance-unnecessary-value-param): as in the other constructor
                                   std::shared_ptr<QLCZephraAuthenticationDelegate> authDelegate,
                                   platform::Platform& platform) {
  if (appInfo == nullptr || urlsProvider == nullptr || authDelegate == nullptr) {
    throw std::invalid_argument("a QLCZephraManager needs appInfo, urlsProvider and authDelegate");
  }
  core_ = std::make_shared<ManagerCore>(std::move(appInfo), std::move(urlsProvider), authDelegate, platform);
}

QLCZephraManager::~QLCZephraManager() {
  core_->close();
}

std::optional<std::string> QLCZephraManager::ccrToken() const {
  const auto token = core_->ccrToken();
  return token ? std::optional<std::string>(token->text()) : std::nullopt;
}
void QLCZephraManager::setCcrToken(std::optional<std::string> token) {
  core_->setCcrToken(token ? std::optional(platform::Secret(*std::move(token))) : std::nullopt);
}
std::optional<std::string> QLCZephraManager::localFilePath() const {
  return core_->localFilePath();
}
void QLCZephraManager::setLocalFilePath(std::optional<std::string> path) {
  core_->setLocalFilePath(path);
}
std::optional<std::string> QLCZephraManager::patchFilePath() const {
  return core_->patchFilePath();
}
void QLCZephraManager::setPatchFilePath(std::optional<std::string> path) {
  core_->setPatchFilePath(path);
}
std::optional<Map> QLCZephraManager::currentSettings() const {
  return core_->settings().tree();
}
void QLCZephraManager::setCurrentSettings(std::optional<Map> settings) {
  core_->setCurrentSettings(std::move(settings));
}

void QLCZephraManager::clearCCRToken() {
  core_->clearCCRToken();
}
void QLCZephraManager::updateLocalSettings() {
  core_->updateLocalSettings();
}
void QLCZephraManager::fetchRemoteSettings(Completion completion) {
  core_->fetchRemoteSettings(std::move(completion));
}

std::optional<Map> QLCZephraManager::getFlattenedDict(std::string_view path) const {
  // The copy is made outside the read: it takes as long as the group is large.
  const std::optional<Map> children = getDictValue(path);
  return children ? std::optional(document::flattened(*children)) : std::nullopt;
}

std::optional<Value> QLCZephraManager::getSettingValue(std::string_view path) const {
  return readAt<Value>(core_->settings(), path);
}

std::optional<Map> QLCZephraManager::getDictValue(std::string_view path) const {
  return readAt<Map>(core_->settings(), path);
}

std::optional<bool> QLCZephraManager::getBoolValue(std::string_view path) const {
  return readAt<bool>(core_->settings(), path);
}

std::optional<std::int64_t> QLCZephraManager::getNumberValue(std::string_view path) const {
  return readAt<std::int64_t>(core_->settings(), path);
}

std::optional<std::string> QLCZephraManager::getStringValue(std::string_view path) const {
  return readAt<std::string>(core_->settings(), path);
}

std::optional<Value> QLCZephraManager::getSettingValue(const SettingPath& path) const {
  return readAt<Value>(core_->settings(), path);
}
std::optional<Map> QLCZephraManager::getDictValue(const SettingPath& path) const {
  return readAt<Map>(core_->settings(), path);
}
std::optional<bool> QLCZephraManager::getBoolValue(const SettingPath& path) const {
  return readAt<bool>(core_->settings(), path);
}
std::optional<std::int64_t> QLCZephraManager::getNumberValue(const SettingPath& path) const {
  return readAt<std::int64_t>(core_->settings(), path);
}
std::optional<std::string> QLCZephraManager::getStringValue(const SettingPath& path) const {
  return readAt<std::string>(core_->settings(), path);
}

std::optional<std::vector<std::string>> QLCZephraManager::getProperties(std::string_view path) const {
  const std::optional<Map> children = getDictValue(path);
  if (!children) return std::nullopt;
  std::vector<std::string> names;
  names.reserve(children->size());
  for (const auto& [name, child] : *children) names.emplace_back(name);
  return names;
}

std::optional<bool> QLCZephraManager::getSettingIsReadonly(std::string_view path) const {
  return core_->settings().read([&](const Revision* revision) {
    return revision == nullptr ? std::nullopt : document::isReadonlyAt(revision->tree, path);
  });
}

void QLCZephraManager::setSettingValue(std::string_view path, const Value& value) {
  core_->setSettingValue(path, value);
}
void QLCZephraManager::setBoolValue(std::string_view path, bool value) {
  core_->setSettingValue(path, value);
}
void QLCZephraManager::setStringValue(std::string_view path, std::string_view value) {
  core_->setSettingValue(path, value);
}
void QLCZephraManager::setObjectValue(std::string_view path, const Value& value) {
  core_->setSettingValue(path, value);
}
void QLCZephraManager::setPNSID(std::string id, Completion completion) {
  core_->setPNSID(std::move(id), std::move(completion));
}

QLTimeLimits QLCZephraManager::timeLimits() const {
  return recordFrom(*core_, policy::timeLimits);
}
std::optional<QLCurfew> QLCZephraManager::curfew() const {
  return recordFrom(*core_, policy::curfew);
}
std::optional<QLQuota> QLCZephraManager::quota() const {
  return recordFrom(*core_, policy::quota);
}
std::optional<QLCBrowsingProtection> QLCZephraManager::browsingProtection() const {
  return recordFrom(*core_, policy::browsingProtection);
}
std::optional<QLContentCategories> QLCZephraManager::contentCategories() const {
  return recordFrom(*core_, policy::contentCategories);
}
std::optional<QLCSchedule> QLCZephraManager::schedule() const {
  return recordFrom(*core_, policy::schedule);
}
std::optional<QLCPMProxySettings> QLCZephraManager::pmProxySettings() const {
  return recordFrom(*core_, policy::pmProxySettings);
}
QLCFirewall QLCZephraManager::firewall() const {
  return recordFrom(*core_, policy::firewall);
}
std::optional<QLCVORT2Settings> QLCZephraManager::vort2ProxySettings() const {
  return recordFrom(*core_, policy::vort2ProxySettings);
}

const std::string& QLCZephraManager::errorDomain() {
  return ZephraErrorCode::domain();
}

std::string QLCZephraManager::localSettingsFileForUid(std::int64_t uid) {
  return pathFor("zephra", uid);
}
std::string QLCZephraManager::patchSettingsFileForUid(std::int64_t uid) {
  return pathFor("patch", uid);
}

// The interfaces' tables of virtual functions stand here, once.
QLCZephraManagerProtocol::~QLCZephraManagerProtocol() = default;
QLCZephraAuthenticationDelegate::~QLCZephraAuthenticationDelegate() = default;
QLCServicesURLsProviderProtocol::~QLCServicesURLsProviderProtocol() = default;

}  // namespace qlczephra
