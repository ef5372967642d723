// Retry state and policy of one stream of failing requests.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "qlczephra/export.h"
#include "qlczephra/network_request.h"

namespace qlczephra {

// Exponential back-off with full jitter: the delay of attempt n is uniform over [0, min(0.1 s * 2^n, 2 h)], in whole
// seconds. Every manager has one object of its own; a host may make others, set an action and drive them with
// updateRetryTime() and resetRetryStats().
//
// Threads: no lock of its own; the user sees to it that one object is used by one thread at a time. The action runs on
// a worker thread of the library. Destroying the object does not cancel an action that is scheduled.
class QLCZEPHRA_EXPORT QLCRetry {
 public:
  using RetryBlock = std::function<void()>;

  static constexpr double BASE_TIME = 0.1;                             // seconds
  static constexpr double MAX_BACKOFF_TIME = 7200.0;                   // seconds
  static constexpr double PROFILE_NOT_FOUND_BACKOFF_TIME = 2592000.0;  // seconds: 30 days
  static constexpr std::int64_t MAX_RETRY_LIMIT = 50;                  // the last attempt that may be repeated

  QLCRetry();
  // For the library's own use: as above, on the given platform, which must outlive the object.
  explicit QLCRetry(platform::Platform& platform);
  virtual ~QLCRetry();
  QLCRetry(const QLCRetry&) = delete;
  QLCRetry& operator=(const QLCRetry&) = delete;

  // Number of the attempt whose delay the next updateRetryTime() computes; 1 at first. Any value may be set: the delay
  // of a negative one is 0, that of a large one 0 to 7200.
  [[nodiscard]] virtual std::int64_t retryAttempt() const;
  virtual void setRetryAttempt(std::int64_t attempt);
  // Delay before the next attempt in seconds; 0 at first.
  [[nodiscard]] virtual std::int64_t retryTime() const;
  virtual void setRetryTime(std::int64_t seconds);
  // What retryAfterRetryTime() schedules; empty for nothing. An exception that leaves it is logged and dropped.
  [[nodiscard]] virtual RetryBlock retryBlock() const;
  virtual void setRetryBlock(RetryBlock block);
  // Whether a user is waiting, which makes shouldRetry() give up sooner; false at first.
  [[nodiscard]] virtual bool userAction() const;
  virtual void setUserAction(bool userAction);

  // Draws a new retryTime for retryAttempt, advances retryAttempt by one (it stays at the largest value once there) and
  // calls retryAfterRetryTime().
  virtual void updateRetryTime();
  // A value uniform over the whole range from a secure source; replaceable by derived classes.
  virtual std::uint32_t random();
  // retryTime = 7200; retryAttempt stays and nothing is scheduled.
  virtual void updateRetryTimeToMax();
  // retryTime = 30 days; retryAttempt stays; calls retryAfterRetryTime().
  virtual void updateRetryTimeFor404();
  // retryAttempt = 1, retryTime = 0; retryBlock and userAction stay.
  virtual void resetRetryStats();
  // Schedules one run of the present retryBlock at the wall-clock time now + retryTime; each call schedules one more.
  // A later change of the block or of retryTime does not touch it.
  virtual void retryAfterRetryTime();
  // Whether a request that ended so is to be attempted again: 5xx, network errors and 4xx, up to attempt 50; with
  // userAction up to attempt 3, and of the 4xx only 429.
  [[nodiscard]] virtual bool shouldRetry(int statusCode, std::optional<QLMError> error) const;

  // "<QLCRetry: attempt/time>", with the name of the object's own class.
  [[nodiscard]] std::string description() const;

 private:
  platform::Platform& platform_;
  std::int64_t retryAttempt_ = 1;
  std::int64_t retryTime_ = 0;
  RetryBlock retryBlock_;
  bool userAction_ = false;
};

}  // namespace qlczephra
