// A server on a loopback port that does to each connection what a script says, byte by byte.
#pragma once

#include <openssl/ssl.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/mutex.h"
#include "tests/support/certificates.h"

namespace qlczephra::test {

// One accepted connection, for its script. With TLS the handshake has succeeded before the script runs.
class RawConnection {
 public:
  // The head and the body of the next request as they came (the body by its Content-Length). Empty when the peer has
  // closed the connection.
  std::string readRequest();
  // False when the peer is gone.
  bool write(std::string_view bytes);
  // Byte by byte.
  bool drip(std::string_view bytes, std::chrono::milliseconds pause);
  // Waits until something has come from the peer, and leaves it unread.
  void waitForData();
  // Waits until the peer closes or the server ends, reading nothing.
  void stall();
  // Sends a TCP reset instead of an orderly end. The script must not use the connection afterwards.
  void reset();
  // Which connection of the server this is, from 0.
  [[nodiscard]] int number() const { return number_; }

 private:
  friend class RawServer;
  RawConnection(int socket, SSL* tls, int number) : socket_(socket), tls_(tls), number_(number) {}
  std::size_t read(char* into, std::size_t size);
  void waitFor(short events) const;

  const int socket_;
  SSL* const tls_;
  const int number_;
  std::string ahead_;  // read and not yet used
};

// The destructor ends all scripts' waits and joins their threads.
class RawServer {
 public:
  // Runs on a thread of its own for each connection, which is closed when it returns.
  using Script = std::function<void(RawConnection&)>;

  enum class Address { ipv4, ipv6 };

  explicit RawServer(Script script, const std::optional<ServerIdentity>& identity = std::nullopt,
                     Address address = Address::ipv4);
  // With TLS, of that version (TLS1_1_VERSION, ...) alone, whatever its security is worth.
  RawServer(Script script, const ServerIdentity& identity, int onlyTlsVersion);
  ~RawServer();
  RawServer(const RawServer&) = delete;
  RawServer& operator=(const RawServer&) = delete;

  [[nodiscard]] std::uint16_t port() const { return port_; }
  [[nodiscard]] std::string url(const std::string& path = "/", const std::string& host = "127.0.0.1") const;
  // Accepted so far, those with a failed handshake included.
  [[nodiscard]] int connections() const { return connections_; }

 private:
  struct Client {
    int socket = -1;
    std::thread thread;
  };

  void accept();
  void serve(int socket, int number);

  const Script script_;
  std::shared_ptr<SSL_CTX> tls_;
  int listener_ = -1;
  std::uint16_t port_ = 0;
  std::atomic<int> connections_ = 0;
  platform::Mutex mutex_;
  std::list<Client> clients_ QLCZ_GUARDED_BY(mutex_);
  std::thread acceptor_;
};

// Answers every request of a connection with these bytes.
RawServer::Script answering(std::string reply);
// A reply with status 200 and this body.
std::string okReply(std::string_view body = "ok");

// A port that takes part in no handshake: connecting to it gets no answer at all.
class SilentPort {
 public:
  SilentPort();
  ~SilentPort();
  SilentPort(const SilentPort&) = delete;
  SilentPort& operator=(const SilentPort&) = delete;
  [[nodiscard]] std::uint16_t port() const { return port_; }

 private:
  std::vector<int> sockets_;
  std::uint16_t port_ = 0;
};

}  // namespace qlczephra::test
