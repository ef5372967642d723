#include "benchmarks/fleet/client.h"

#include <optional>

namespace qlczephra::fleet {

namespace {

bool isSuccess(int status) noexcept {
  return (status >= 200 && status <= 299) || status == 304;
}

}  // namespace

Step Client::hear(int status, Policy policy) {
  if (policy == Policy::fixedDelay) {
    return isSuccess(status) ? Step{Step::Kind::succeeded, 0} : Step{Step::Kind::repeats, fixedWait};
  }
  if (policy == Policy::unjittered && status == 429) status = 503;
  const auto error = status == 0 ? std::optional(QLMError::networkError) : std::nullopt;
  const ReplyMeaning meaning = handling_.classify(status, error);
  switch (meaning.next) {
    case ReplyMeaning::Next::success:
    case ReplyMeaning::Next::notModified:
      return {Step::Kind::succeeded, 0};
    case ReplyMeaning::Next::backOff:
      return {Step::Kind::repeats, meaning.delay};
    case ReplyMeaning::Next::recover:
    case ReplyMeaning::Next::failure:
      break;
  }
  return {Step::Kind::gaveUp, 0};
}

}  // namespace qlczephra::fleet
