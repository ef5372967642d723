#include "platform/native/http/kept_sockets.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace qlczephra::platform {
namespace {

std::string keyOf(const std::string& address, int port) {
  return std::to_string(port) + ' ' + address;
}

// As libcurl writes addresses. Empty when the socket is not connected.
std::string keyOf(int socket) {
  sockaddr_storage address{};
  socklen_t length = sizeof address;
  if (::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) return {};
  std::array<char, INET6_ADDRSTRLEN> text{};
  if (address.ss_family == AF_INET) {
    const auto& ipv4 = reinterpret_cast<const sockaddr_in&>(address);
    ::inet_ntop(AF_INET, &ipv4.sin_addr, text.data(), text.size());
    return keyOf(text.data(), ntohs(ipv4.sin_port));
  }
  const auto& ipv6 = reinterpret_cast<const sockaddr_in6&>(address);
  ::inet_ntop(AF_INET6, &ipv6.sin6_addr, text.data(), text.size());
  return keyOf(text.data(), ntohs(ipv6.sin6_port));
}

}  // namespace

int KeptSockets::find(const std::string& localAddress, int localPort) const {
  const auto found = sockets_.find(keyOf(localAddress, localPort));
  return found == sockets_.end() ? -1 : found->second;
}

void KeptSockets::keepOneOf(const std::vector<int>& sockets, const std::string& localAddress, int localPort) {
  const std::string key = keyOf(localAddress, localPort);
  for (const int socket : sockets) {
    if (keyOf(socket) == key) sockets_[key] = socket;
  }
}

int KeptSockets::close(void* self, curl_socket_t socket) noexcept {
  auto& sockets = static_cast<KeptSockets*>(self)->sockets_;
  std::erase_if(sockets, [socket](const auto& entry) { return entry.second == socket; });
  return ::close(socket);
}

bool isSilent(int socket, const SSL* tls) noexcept {
  if (tls != nullptr && SSL_has_pending(tls) != 0) return false;
  char byte = 0;
  return ::recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
}

}  // namespace qlczephra::platform
