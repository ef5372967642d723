#include "service/channel.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

namespace qlczephra::service {
namespace {

constexpr std::chrono::milliseconds longestStall{60000};  // a peer that neither sends nor takes is gone
constexpr std::size_t bufferSize = 16384;

int intSize(std::size_t size) {
  return static_cast<int>(std::min<std::size_t>(size, std::numeric_limits<int>::max()));
}

}  // namespace

Channel::Channel(int socket, ssl_ctx_st* tls)
    : socket_(socket), tls_(tls == nullptr ? nullptr : SSL_new(tls), [](ssl_st* session) { SSL_free(session); }) {
  const int on = 1;
  ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  // httplib gives accepted sockets short timeouts; here poll() does the waiting.
  const timeval stall{longestStall.count() / 1000, 0};
  ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &stall, sizeof stall);
  ::setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &stall, sizeof stall);
}

Channel::~Channel() {
  ::shutdown(socket_, SHUT_RDWR);
  ::close(socket_);
}

bool Channel::open() {
  if (tls_ == nullptr) return true;
  return SSL_set_fd(tls_.get(), socket_) == 1 && SSL_accept(tls_.get()) == 1;
}

bool Channel::isResumedSession() const {
  return tls_ != nullptr && SSL_session_reused(tls_.get()) == 1;
}

bool Channel::await(short events, std::chrono::milliseconds longest) const {
  pollfd entry{socket_, events, 0};
  int ready = 0;
  do {
    ready = ::poll(&entry, 1, intSize(static_cast<std::size_t>(longest.count())));
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}

bool Channel::awaitInput(std::chrono::milliseconds longest) const {
  if (taken_ < buffer_.size() || (tls_ != nullptr && SSL_pending(tls_.get()) > 0)) return true;
  return await(POLLIN, longest);
}

bool Channel::awaitOutput(std::chrono::milliseconds longest) const {
  return await(POLLOUT, longest);
}

ssize_t Channel::read(char* target, std::size_t size) {
  if (tls_ != nullptr) {
    const int count = SSL_read(tls_.get(), target, intSize(size));
    if (count > 0) return count;
    return SSL_get_error(tls_.get(), count) == SSL_ERROR_ZERO_RETURN ? 0 : -1;
  }
  if (taken_ == buffer_.size()) {
    buffer_.resize(bufferSize);
    ssize_t count = 0;
    do {
      count = ::recv(socket_, buffer_.data(), buffer_.size(), 0);
    } while (count < 0 && errno == EINTR);
    taken_ = 0;
    buffer_.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    if (count <= 0) return count;
  }
  const std::size_t count = std::min(size, buffer_.size() - taken_);
  std::memcpy(target, buffer_.data() + taken_, count);
  taken_ += count;
  return static_cast<ssize_t>(count);
}

ssize_t Channel::write(const char* source, std::size_t size) {
  if (tls_ != nullptr) {
    const int count = SSL_write(tls_.get(), source, intSize(size));
    return count > 0 ? count : -1;
  }
  ssize_t count = 0;
  do {
    count = ::send(socket_, source, size, MSG_NOSIGNAL);
  } while (count < 0 && errno == EINTR);
  return count;
}

void Channel::cut() {
  ::shutdown(socket_, SHUT_RDWR);
}

}  // namespace qlczephra::service
