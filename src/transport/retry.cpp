#include "qlczephra/retry.h"

#include <cxxabi.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <typeinfo>
#include <utility>

#include "platform/host_call.h"
#include "platform/platform.h"

namespace qlczephra {

namespace {

constexpr double largestRandom = 4294967295.0;

// The class of an object without its namespaces.
std::string classNameOf(const std::type_info& type) {
  int status = 0;
  char* demangled = abi::__cxa_demangle(type.name(), nullptr, nullptr, &status);
  std::string name = status == 0 ? demangled : type.name();
  std::free(demangled);  // NOLINT(cppcoreguidelines-no-malloc): the runtime allocated it so
  const std::size_t qualified = name.rfind("::");
  return qualified == std::string::npos ? name : name.substr(qualified + 2);
}

// now + seconds, or the ends of the clock's range.
std::chrono::system_clock::time_point deadlineAfter(std::chrono::system_clock::time_point now, std::int64_t seconds) {
  using Clock = std::chrono::system_clock;
  constexpr std::int64_t century = 100LL * 366 * 24 * 3600;  // far below the range of the clock, far above any wait
  return now +
         std::chrono::duration_cast<Clock::duration>(std::chrono::seconds(std::clamp(seconds, -century, century)));
}

}  // namespace

QLCRetry::QLCRetry() : QLCRetry(platform::nativePlatform()) {}
QLCRetry::QLCRetry(platform::Platform& platform) : platform_(platform) {}
QLCRetry::~QLCRetry() = default;

std::int64_t QLCRetry::retryAttempt() const {
  return retryAttempt_;
}
void QLCRetry::setRetryAttempt(std::int64_t attempt) {
  retryAttempt_ = attempt;
}
std::int64_t QLCRetry::retryTime() const {
  return retryTime_;
}
void QLCRetry::setRetryTime(std::int64_t seconds) {
  retryTime_ = seconds;
}
QLCRetry::RetryBlock QLCRetry::retryBlock() const {
  return retryBlock_;
}
void QLCRetry::setRetryBlock(RetryBlock block) {
  retryBlock_ = std::move(block);
}
bool QLCRetry::userAction() const {
  return userAction_;
}
void QLCRetry::setUserAction(bool userAction) {
  userAction_ = userAction;
}

void QLCRetry::updateRetryTime() {
  const double share = static_cast<double>(random()) / largestRandom;
  // Beyond the range of a double the power is infinite, and the minimum still holds.
  const double cap = std::min(BASE_TIME * std::exp2(static_cast<double>(retryAttempt_)), MAX_BACKOFF_TIME);
  retryTime_ = static_cast<std::int64_t>(share * cap);
  if (retryAttempt_ < std::numeric_limits<std::int64_t>::max()) ++retryAttempt_;
  retryAfterRetryTime();
}

std::uint32_t QLCRetry::random() {
  return platform_.secureRandom();
}

void QLCRetry::updateRetryTimeToMax() {
  retryTime_ = static_cast<std::int64_t>(MAX_BACKOFF_TIME);
}

void QLCRetry::updateRetryTimeFor404() {
  retryTime_ = static_cast<std::int64_t>(PROFILE_NOT_FOUND_BACKOFF_TIME);
  retryAfterRetryTime();
}

void QLCRetry::resetRetryStats() {
  retryAttempt_ = 1;
  retryTime_ = 0;
}

void QLCRetry::retryAfterRetryTime() {
  if (!retryBlock_) return;
  platform_.workers().postAt(
      deadlineAfter(platform_.wallNow(), retryTime_),
      [&platform = platform_, block = retryBlock_] { platform::callHost(platform, "a retry action", block); });
}

bool QLCRetry::shouldRetry(int statusCode, std::optional<QLMError> error) const {
  constexpr std::int64_t firstAttemptTooManyForUser = 4;
  if (retryAttempt_ > MAX_RETRY_LIMIT) return false;
  if (userAction_ && retryAttempt_ >= firstAttemptTooManyForUser) return false;
  if (statusCode >= 500 && statusCode <= 599) return true;
  if (error == QLMError::networkError) return true;
  if (statusCode < 400 || statusCode > 499) return false;
  return statusCode == 429 || !userAction_;
}

std::string QLCRetry::description() const {
  return "<" + classNameOf(typeid(*this)) + ": " + std::to_string(retryAttempt_) + "/" + std::to_string(retryTime_) +
         ">";
}

}  // namespace qlczephra
