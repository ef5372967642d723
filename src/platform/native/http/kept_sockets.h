// Sockets of the connections that libcurl may use again, by their local address.
#pragma once

#include <curl/curl.h>
#include <openssl/ssl.h>

#include <string>
#include <unordered_map>
#include <vector>

namespace qlczephra::platform {

// libcurl takes a kept connection for alive when bytes wait on it, and would read them as the reply to the next
// request. It names a connection to its pre-request callback by addresses alone; this finds the socket. Belongs to the
// network thread, and outlives the connections.
class KeptSockets {
 public:
  // Returns the socket that was kept under a local address, or -1 for a new connection.
  [[nodiscard]] int find(const std::string& localAddress, int localPort) const;
  // Keeps the one of some sockets that has this local address. Throws std::bad_alloc.
  void keepOneOf(const std::vector<int>& sockets, const std::string& localAddress, int localPort);
  // CURLOPT_CLOSESOCKETFUNCTION, with the object as its data.
  static int close(void* self, curl_socket_t socket) noexcept;

 private:
  std::unordered_map<std::string, int> sockets_;
};

// Returns whether nothing has come on a connection since its last reply, neither bytes nor its end. `tls` may be null.
[[nodiscard]] bool isSilent(int socket, const SSL* tls) noexcept;

}  // namespace qlczephra::platform
