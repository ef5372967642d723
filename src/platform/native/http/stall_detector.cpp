#include "platform/native/http/stall_detector.h"

// linux/tcp.h has the byte counters, which the C library's own structure lacks.
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstddef>

namespace qlczephra::platform {

namespace {

// All zero when the kernel does not tell.
tcp_info countersOf(int socket) noexcept {
  tcp_info info{};
  socklen_t length = sizeof(info);
  if (::getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &length) != 0) return {};
  if (length < offsetof(tcp_info, tcpi_bytes_received) + sizeof(info.tcpi_bytes_received)) return {};
  return info;
}

}  // namespace

std::uint64_t bytesReceived(int socket) noexcept {
  return countersOf(socket).tcpi_bytes_received;
}

void StallDetector::sample(const std::vector<int>& sockets, TimePoint now) {
  std::uint64_t bytes = 0;
  for (const int socket : sockets) {
    const tcp_info info = countersOf(socket);
    bytes += info.tcpi_bytes_received + info.tcpi_bytes_acked;
  }
  if (bytes == bytes_) return;
  bytes_ = bytes;
  note(now);
}

std::chrono::milliseconds StallDetector::interval() const {
  return std::clamp(longestWait_ / 20, std::chrono::milliseconds(5), std::chrono::milliseconds(500));
}

}  // namespace qlczephra::platform
