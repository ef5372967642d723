#include "transport/status_handling.h"

namespace qlczephra {

namespace {

using Next = ReplyMeaning::Next;
using Code = ZephraErrorCode;

ReplyMeaning meaningOf(int status, std::optional<QLMError> error, QLCRetry& retry) {
  const auto resetAnd = [&retry](Next next, std::optional<Code> code = std::nullopt) {
    retry.resetRetryStats();
    return ReplyMeaning{next, code, 0};
  };
  if (status >= 200 && status <= 299) return resetAnd(Next::success);
  switch (status) {
    case 304:
      return resetAnd(Next::notModified);
    case 400:
      retry.updateRetryTime();
      if (retry.shouldRetry(status, error)) return {Next::recover, Code::badRequest, 0};
      return {Next::failure, Code::badRequest, 0};
    case 401:
      return resetAnd(Next::failure, Code::unauthorized);
    case 403:
      return resetAnd(Next::failure, Code::forbidden);
    case 404:
      retry.updateRetryTimeFor404();
      return {Next::failure, Code::notFound, 0};
    case 412:
      return resetAnd(Next::recover, Code::badRequest);
    case 422:
      return resetAnd(Next::failure, Code::unprocessableEntity);
    default:
      break;
  }
  if (!retry.shouldRetry(status, error)) return resetAnd(Next::failure, Code::unexpectedResponse);
  if (status == 429 && !retry.userAction()) {
    retry.updateRetryTimeToMax();
  } else {
    retry.updateRetryTime();
  }
  return {Next::backOff, std::nullopt, retry.retryTime()};
}

}  // namespace

ReplyMeaning StatusHandling::classify(int status, std::optional<QLMError> error) {
  QLCRetry retry(platform_);
  retry.setRetryAttempt(retryAttempt_);
  const ReplyMeaning meaning = meaningOf(status, error, retry);
  retryAttempt_ = retry.retryAttempt();
  return meaning;
}

}  // namespace qlczephra
