#include "manager/status_handling.h"

namespace qlczephra {

using Next = ReplyMeaning::Next;
using Code = QLCZephraManager::ZephraErrorCode;

ReplyMeaning StatusHandling::classify(int status, std::optional<QLMError> error) {
  const platform::MutexLock lock(mutex_);
  const auto resetAnd = [this](Next next, std::optional<Code> code = std::nullopt) QLCZ_REQUIRES(mutex_) {
    retry_.resetRetryStats();
    return ReplyMeaning{next, code, 0};
  };
  if (status >= 200 && status <= 299) return resetAnd(Next::success);
  switch (status) {
    case 304:
      return resetAnd(Next::notModified);
    case 400:
      retry_.updateRetryTime();
      if (retry_.shouldRetry(status, error)) return {Next::recover, Code::badRequest, 0};
      return {Next::failure, Code::badRequest, 0};
    case 401:
      return resetAnd(Next::failure, Code::unauthorized);
    case 403:
      return resetAnd(Next::failure, Code::forbidden);
    case 404:
      retry_.updateRetryTimeFor404();
      return {Next::failure, Code::notFound, 0};
    case 412:
      return resetAnd(Next::recover, Code::badRequest);
    case 422:
      return resetAnd(Next::failure, Code::unprocessableEntity);
    default:
      break;
  }
  if (!retry_.shouldRetry(status, error)) return resetAnd(Next::failure, Code::unexpectedResponse);
  if (status == 429 && !retry_.userAction()) {
    retry_.updateRetryTimeToMax();
  } else {
    retry_.updateRetryTime();
  }
  return {Next::backOff, std::nullopt, retry_.retryTime()};
}

}  // namespace qlczephra
