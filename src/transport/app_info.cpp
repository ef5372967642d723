#include "qlczephra/app_info.h"

#include <string_view>
#include <utility>

#include "platform/mutex.h"
#include "transport/service_url.h"

namespace qlczephra {

namespace {

constexpr std::string_view settingsPath = "settings";
constexpr std::string_view nodePath = "node";
constexpr std::string_view apiPath = "zephra/client-api/v3/clients/me/products";

}  // namespace

struct QLCAppInfo::State {
  mutable platform::Mutex mutex;
  std::string productName QLCZ_GUARDED_BY(mutex);
  std::string userAgent QLCZ_GUARDED_BY(mutex);
};

QLCAppInfo::QLCAppInfo(std::string productName, std::string userAgent) : state_(std::make_unique<State>()) {
  const platform::MutexLock lock(state_->mutex);
  state_->productName = std::move(productName);
  state_->userAgent = std::move(userAgent);
}

QLCAppInfo::~QLCAppInfo() = default;

std::string QLCAppInfo::productName() const {
  const platform::MutexLock lock(state_->mutex);
  return state_->productName;
}

void QLCAppInfo::setProductName(std::string productName) {
  const platform::MutexLock lock(state_->mutex);
  state_->productName = std::move(productName);
}

std::string QLCAppInfo::userAgent() const {
  const platform::MutexLock lock(state_->mutex);
  return state_->userAgent;
}

void QLCAppInfo::setUserAgent(std::string userAgent) {
  const platform::MutexLock lock(state_->mutex);
  state_->userAgent = std::move(userAgent);
}

std::string QLCAppInfo::zephraSettingsURL(const std::string& base) const {
  return transport::serviceURL(base, apiPath, productName(), settingsPath);
}

std::string QLCAppInfo::zephraNodeURL(const std::string& base) const {
  return transport::serviceURL(base, apiPath, productName(), nodePath);
}

}  // namespace qlczephra
