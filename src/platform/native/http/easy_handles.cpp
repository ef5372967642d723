#include "platform/native/http/easy_handles.h"

namespace qlczephra::platform {
namespace {

constexpr std::size_t mostKept = 32;  // as many as there are connections kept by a pool

}  // namespace

EasyHandles::Handle EasyHandles::take() {
  if (waiting_.empty()) {
    waiting_.reserve(mostKept);  // so that giving back needs no memory
    return {curl_easy_init(), {this}};
  }
  CURL* const easy = waiting_.back();
  waiting_.pop_back();
  return {easy, {this}};
}

void EasyHandles::giveBack(CURL* easy) noexcept {
  if (waiting_.size() >= mostKept) {
    curl_easy_cleanup(easy);
    return;
  }
  // At once, since it points to what the transfer owns. A reset would keep the share, and the addresses of a transfer
  // that has not begun.
  curl_easy_setopt(easy, CURLOPT_SHARE, nullptr);
  curl_easy_setopt(easy, CURLOPT_RESOLVE, nullptr);
  curl_easy_reset(easy);
  waiting_.push_back(easy);
}

void EasyHandles::clear() noexcept {
  for (CURL* const easy : waiting_) curl_easy_cleanup(easy);
  waiting_.clear();
}

}  // namespace qlczephra::platform
