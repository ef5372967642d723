// What the status of a reply means for the call that it ends or repeats, and for the retry state.
#pragma once

#include <cstdint>
#include <optional>

#include "qlczephra/error_code.h"
#include "qlczephra/retry.h"

namespace qlczephra {

struct ReplyMeaning {
  enum class Next : std::uint8_t {
    success,      // 2xx: the call applies the reply
    notModified,  // 304
    recover,      // 412, and 400 while a retry is allowed: only a call that can recover goes on
    backOff,      // the call is to be repeated after `delay`
    failure,      // `code` ends the call
  };
  Next next = Next::success;
  std::optional<ZephraErrorCode> code;
  std::int64_t delay = 0;  // seconds; of `backOff`
};

// The retry state that all calls of one manager share. The delay of a repetition is taken together with the
// classification of its own reply, in one step, so that the reply of another call cannot change it: the caller holds a
// lock for it.
class StatusHandling {
 public:
  explicit StatusHandling(platform::Platform& platform) : platform_(platform) {}

  [[nodiscard]] ReplyMeaning classify(int status, std::optional<QLMError> error);

 private:
  platform::Platform& platform_;
  // Of a QLCRetry, of which nothing else outlasts a reply.
  std::int64_t retryAttempt_ = 1;
};

}  // namespace qlczephra
