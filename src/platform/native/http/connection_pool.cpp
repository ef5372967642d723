#include "platform/native/http/connection_pool.h"

#include <sys/epoll.h>

#include <new>
#include <utility>

namespace qlczephra::platform {
namespace {

constexpr long maximumKeptConnections = 32;

}  // namespace

ConnectionPool::ConnectionPool(EventLoop& loop, TransferObserver& observer)
    : loop_(loop), observer_(observer), share_(curl_share_init()), multi_(curl_multi_init()), timer_(loop, [this] {
        drive(CURL_SOCKET_TIMEOUT, 0);
      }) {
  if (!share_ || !multi_) throw std::bad_alloc();
  curl_share_setopt(share_.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
  curl_multi_setopt(multi_.get(), CURLMOPT_SOCKETFUNCTION, &ConnectionPool::onSocket);
  curl_multi_setopt(multi_.get(), CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(multi_.get(), CURLMOPT_TIMERFUNCTION, &ConnectionPool::onTimer);
  curl_multi_setopt(multi_.get(), CURLMOPT_TIMERDATA, this);
  curl_multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS, maximumKeptConnections);
}

ConnectionPool::~ConnectionPool() {
  multi_.reset();
  for (const auto& [socket, transfer] : sockets_) loop_.unwatch(socket);
}

bool ConnectionPool::add(Transfer& transfer) {
  if (curl_easy_setopt(transfer.easy(), CURLOPT_SHARE, share_.get()) != CURLE_OK) return false;
  if (curl_multi_add_handle(multi_.get(), transfer.easy()) != CURLM_OK) return false;
  ++transfers_;
  return true;
}

void ConnectionPool::remove(Transfer& transfer) {
  curl_multi_remove_handle(multi_.get(), transfer.easy());
  std::erase(waitingForTrust_, &transfer);
  while (!transfer.sockets().empty()) unwatch(transfer.sockets().back());
  --transfers_;
}

void ConnectionPool::resume(Transfer& transfer) {
  // curl has stopped waiting for the socket; a change of the pause state has it look again.
  curl_easy_pause(transfer.easy(), CURLPAUSE_RECV);
  curl_easy_pause(transfer.easy(), CURLPAUSE_CONT);
  drive(CURL_SOCKET_TIMEOUT, 0);
}

int ConnectionPool::onSocket(CURL* easy, curl_socket_t socket, int what, void* self, void* /*socketData*/) {
  auto& pool = *static_cast<ConnectionPool*>(self);
  if (what == CURL_POLL_REMOVE) {
    pool.unwatch(socket);
  } else {
    try {
      pool.watch(socket, what, Transfer::of(easy));
    } catch (const std::bad_alloc&) {
      // An error here would end all of the pool.
      Transfer::of(easy).progress().giveUp();
    }
  }
  return 0;
}

int ConnectionPool::onTimer(CURLM* /*multi*/, long milliseconds, void* self) {
  auto& pool = *static_cast<ConnectionPool*>(self);
  if (milliseconds < 0) {
    pool.timer_.cancel();
  } else {
    pool.timer_.set(EventLoop::Clock::now() + std::chrono::milliseconds(milliseconds));
  }
  return 0;
}

void ConnectionPool::watch(curl_socket_t socket, int what, Transfer& transfer) {
  unwatch(socket);
  transfer.sockets().push_back(socket);
  try {
    sockets_[socket] = &transfer;
  } catch (const std::bad_alloc&) {
    transfer.sockets().pop_back();
    throw;
  }
  std::uint32_t wanted = 0;
  if ((what & CURL_POLL_IN) != 0) wanted |= EPOLLIN;
  if ((what & CURL_POLL_OUT) != 0) wanted |= EPOLLOUT;
  loop_.watch(socket, wanted, [this, socket](std::uint32_t events) {
    int ready = 0;
    if ((events & EPOLLIN) != 0) ready |= CURL_CSELECT_IN;
    if ((events & EPOLLOUT) != 0) ready |= CURL_CSELECT_OUT;
    if ((events & (EPOLLERR | EPOLLHUP)) != 0) ready |= CURL_CSELECT_ERR;
    if (const auto found = sockets_.find(socket); found != sockets_.end()) {
      found->second->progress().note(EventLoop::Clock::now());
    }
    drive(socket, ready);
  });
}

void ConnectionPool::unwatch(curl_socket_t socket) {
  const auto found = sockets_.find(socket);
  if (found == sockets_.end()) return;
  std::erase(found->second->sockets(), socket);
  sockets_.erase(found);
  loop_.unwatch(socket);
}

void ConnectionPool::drive(curl_socket_t socket, int events) {
  int running = 0;
  curl_multi_socket_action(multi_.get(), socket, events, &running);
  for (Transfer* const transfer : std::exchange(waitingForTrust_, {})) observer_.transferWaitsForTrust(*transfer);

  int left = 0;
  while (const CURLMsg* const message = curl_multi_info_read(multi_.get(), &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode code = message->data.result;
    Transfer& transfer = Transfer::of(message->easy_handle);
    remove(transfer);
    observer_.transferFinished(transfer, code);
  }
}

}  // namespace qlczephra::platform
