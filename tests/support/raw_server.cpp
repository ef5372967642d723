#include "tests/support/raw_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/pem.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "platform/native/threads/blocked_signals.h"

namespace qlczephra::test {
namespace {

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

// `Address` is sockaddr_in or sockaddr_in6; the port's place is the same in both.
template <typename Address>
std::pair<int, std::uint16_t> listenOn(Address address, int backlog) {
  auto* const any = reinterpret_cast<sockaddr*>(&address);
  const int listener = ::socket(any->sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  socklen_t length = sizeof(address);
  if (listener < 0 || ::bind(listener, any, length) != 0 || ::listen(listener, backlog) != 0 ||
      ::getsockname(listener, any, &length) != 0) {
    throw std::runtime_error("no loopback port");
  }
  return {listener, ntohs(reinterpret_cast<const sockaddr_in*>(&address)->sin_port)};
}

std::pair<int, std::uint16_t> listenOnLoopback(int backlog, bool ipv6 = false) {
  if (!ipv6) return listenOn(loopback(0), backlog);
  sockaddr_in6 address{};
  address.sin6_family = AF_INET6;
  address.sin6_addr = in6addr_loopback;
  return listenOn(address, backlog);
}

std::shared_ptr<SSL_CTX> tlsContext(const ServerIdentity& identity) {
  std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
  const std::unique_ptr<BIO, decltype(&BIO_free)> chain(BIO_new_mem_buf(identity.chain.data(), -1), &BIO_free);
  const std::unique_ptr<BIO, decltype(&BIO_free)> key(BIO_new_mem_buf(identity.privateKey.data(), -1), &BIO_free);
  X509* const own = PEM_read_bio_X509(chain.get(), nullptr, nullptr, nullptr);
  SSL_CTX_use_certificate(context.get(), own);
  X509_free(own);
  while (X509* const more = PEM_read_bio_X509(chain.get(), nullptr, nullptr, nullptr)) {
    SSL_CTX_add0_chain_cert(context.get(), more);
  }
  EVP_PKEY* const privateKey = PEM_read_bio_PrivateKey(key.get(), nullptr, nullptr, nullptr);
  SSL_CTX_use_PrivateKey(context.get(), privateKey);
  EVP_PKEY_free(privateKey);
  if (SSL_CTX_check_private_key(context.get()) != 1) throw std::runtime_error("server identity");
  return context;
}

std::size_t bodyLength(const std::string& head) {
  const auto field = head.find("\r\nContent-Length: ");
  return field == std::string::npos ? 0 : std::strtoul(head.c_str() + field + 18, nullptr, 10);
}

}  // namespace

std::size_t RawConnection::read(char* into, std::size_t size) {
  const auto count = tls_ != nullptr ? SSL_read(tls_, into, static_cast<int>(size)) : ::recv(socket_, into, size, 0);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

std::string RawConnection::readRequest() {
  std::size_t wanted = std::string::npos;
  std::array<char, 65536> buffer;
  for (;;) {
    if (wanted == std::string::npos) {
      const auto end = ahead_.find("\r\n\r\n");
      if (end != std::string::npos) wanted = end + 4 + bodyLength(ahead_.substr(0, end));
    }
    if (ahead_.size() >= wanted) break;
    const std::size_t count = read(buffer.data(), buffer.size());
    if (count == 0) return {};
    ahead_.append(buffer.data(), count);
  }
  std::string request = ahead_.substr(0, wanted);
  ahead_.erase(0, wanted);
  return request;
}

bool RawConnection::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const auto count = tls_ != nullptr ? SSL_write(tls_, bytes.data(), static_cast<int>(bytes.size()))
                                       : ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

bool RawConnection::drip(std::string_view bytes, std::chrono::milliseconds pause) {
  for (const char& byte : bytes) {
    std::this_thread::sleep_for(pause);
    if (!write({&byte, 1})) return false;
  }
  return true;
}

void RawConnection::waitForData() {
  waitFor(POLLIN);
}

void RawConnection::stall() {
  waitFor(POLLRDHUP);
}

void RawConnection::waitFor(short events) const {
  pollfd waiting{socket_, events, 0};
  while (::poll(&waiting, 1, -1) < 0 && errno == EINTR) {
  }
}

void RawConnection::reset() {
  const linger abort{1, 0};
  ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &abort, sizeof(abort));
}

RawServer::RawServer(Script script, const std::optional<ServerIdentity>& identity, Address address)
    : script_(std::move(script)) {
  if (identity) tls_ = tlsContext(*identity);
  std::tie(listener_, port_) = listenOnLoopback(4096, address == Address::ipv6);
  const platform::BlockedSignals blocked;
  acceptor_ = std::thread([this] { accept(); });
}

RawServer::RawServer(Script script, const ServerIdentity& identity, int onlyTlsVersion)
    : RawServer(std::move(script), identity) {
  SSL_CTX_set_security_level(tls_.get(), 0);
  SSL_CTX_set_min_proto_version(tls_.get(), onlyTlsVersion);
  SSL_CTX_set_max_proto_version(tls_.get(), onlyTlsVersion);
}

RawServer::~RawServer() {
  ::shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  ::close(listener_);
  {
    const platform::MutexLock lock(mutex_);
    for (const Client& client : clients_) {
      if (client.socket >= 0) ::shutdown(client.socket, SHUT_RDWR);
    }
  }
  // No new entry comes: the acceptor is gone. The threads only change the sockets of theirs.
  for (;;) {
    std::thread thread;
    {
      const platform::MutexLock lock(mutex_);
      const auto found = std::ranges::find_if(clients_, [](const Client& client) { return client.thread.joinable(); });
      if (found == clients_.end()) break;
      thread = std::move(found->thread);
    }
    thread.join();
  }
}

std::string RawServer::url(const std::string& path, const std::string& host) const {
  return (tls_ ? "https://" : "http://") + host + ":" + std::to_string(port_) + path;
}

void RawServer::accept() {
  for (;;) {
    const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket < 0 && errno == EINTR) continue;
    if (socket < 0) return;
    const int number = connections_++;
    const platform::MutexLock lock(mutex_);
    Client& client = clients_.emplace_back();
    client.socket = socket;
    client.thread = std::thread([this, &client, socket, number] {
      serve(socket, number);
      const platform::MutexLock held(mutex_);
      client.socket = -1;
      ::close(socket);
    });
  }
}

void RawServer::serve(int socket, int number) {
  const std::unique_ptr<SSL, decltype(&SSL_free)> tls(tls_ ? SSL_new(tls_.get()) : nullptr, &SSL_free);
  if (tls) {
    SSL_set_fd(tls.get(), socket);
    if (SSL_accept(tls.get()) != 1) return;
  }
  RawConnection connection(socket, tls.get(), number);
  script_(connection);
}

RawServer::Script answering(std::string reply) {
  return [reply = std::move(reply)](RawConnection& connection) {
    while (!connection.readRequest().empty() && connection.write(reply)) {
    }
  };
}

std::string okReply(std::string_view body) {
  return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + std::string(body);
}

SilentPort::SilentPort() {
  const auto [listener, port] = listenOnLoopback(0);
  sockets_.push_back(listener);
  port_ = port;
  // The kernel answers until the queue of connections that nobody accepts is full.
  const sockaddr_in address = loopback(port);
  for (int i = 0; i < 4; ++i) {
    const int filler = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    ::connect(filler, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    sockets_.push_back(filler);
  }
}

SilentPort::~SilentPort() {
  for (const int socket : sockets_) ::close(socket);
}

}  // namespace qlczephra::test
