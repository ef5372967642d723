#include "benchmarks/fetch/bare_multi.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "benchmarks/support/require.h"

namespace qlczephra::bench {

BareMulti::BareMulti(const BareRequest& request, std::size_t handles)
    : multi_(curl_multi_init()), epoll_(::epoll_create1(EPOLL_CLOEXEC)) {
  require(multi_ != nullptr && epoll_ >= 0, "no multi handle");
  curl_multi_setopt(multi_, CURLMOPT_SOCKETFUNCTION, &BareMulti::onSocket);
  curl_multi_setopt(multi_, CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(multi_, CURLMOPT_TIMERFUNCTION, &BareMulti::onTimer);
  curl_multi_setopt(multi_, CURLMOPT_TIMERDATA, this);
  curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, 32L);
  for (std::size_t made = 0; made < handles; ++made) handles_.push_back(std::make_unique<BareHandle>(request));
}

BareMulti::~BareMulti() {
  curl_multi_cleanup(multi_);
  ::close(epoll_);
}

void BareMulti::getAll() {
  for (const auto& handle : handles_) {
    handle->clear();
    require(curl_multi_add_handle(multi_, handle->easy()) == CURLM_OK, "curl takes no transfer");
  }
  running_ = handles_.size();
  while (running_ != 0) wait();
}

void BareMulti::wait() {
  int timeout = -1;
  if (timed_) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline_ - Clock::now()).count();
    timeout = static_cast<int>(std::max<long>(0, left));
  }
  std::array<epoll_event, 64> events{};
  const int ready = ::epoll_wait(epoll_, events.data(), static_cast<int>(events.size()), timeout);
  for (int i = 0; i < ready; ++i) {
    const epoll_event& event = events[static_cast<std::size_t>(i)];
    int what = 0;
    if ((event.events & EPOLLIN) != 0) what |= CURL_CSELECT_IN;
    if ((event.events & EPOLLOUT) != 0) what |= CURL_CSELECT_OUT;
    if ((event.events & (EPOLLERR | EPOLLHUP)) != 0) what |= CURL_CSELECT_ERR;
    drive(event.data.fd, what);
  }
  if (timed_ && Clock::now() >= deadline_) {
    timed_ = false;
    drive(CURL_SOCKET_TIMEOUT, 0);
  }
}

void BareMulti::drive(curl_socket_t socket, int events) {
  int unfinished = 0;
  curl_multi_socket_action(multi_, socket, events, &unfinished);
  int left = 0;
  while (const CURLMsg* const message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode code = message->data.result;
    CURL* const easy = message->easy_handle;
    char* handle = nullptr;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &handle);
    reinterpret_cast<BareHandle*>(handle)->check(code);
    curl_multi_remove_handle(multi_, easy);
    --running_;
  }
}

int BareMulti::onSocket(CURL* /*easy*/, curl_socket_t socket, int what, void* self, void* known) {
  BareMulti& multi = *static_cast<BareMulti*>(self);
  if (what == CURL_POLL_REMOVE) {
    ::epoll_ctl(multi.epoll_, EPOLL_CTL_DEL, socket, nullptr);
    return 0;
  }
  epoll_event event{};
  event.data.fd = socket;
  if ((what & CURL_POLL_IN) != 0) event.events |= EPOLLIN;
  if ((what & CURL_POLL_OUT) != 0) event.events |= EPOLLOUT;
  ::epoll_ctl(multi.epoll_, known == nullptr ? EPOLL_CTL_ADD : EPOLL_CTL_MOD, socket, &event);
  curl_multi_assign(multi.multi_, socket, self);  // "known"
  return 0;
}

int BareMulti::onTimer(CURLM* /*multi*/, long milliseconds, void* self) {
  BareMulti& multi = *static_cast<BareMulti*>(self);
  multi.timed_ = milliseconds >= 0;
  multi.deadline_ = Clock::now() + std::chrono::milliseconds(milliseconds);
  return 0;
}

}  // namespace qlczephra::bench
