// The bytes of one accepted connection, plain or under TLS. Waits sleep in poll(), so that a thousand idle connections
// cost no processor time and descriptors may be as large as they like.
//
// One thread reads and writes; cut() may come from any thread at any time while the object lives.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <vector>

struct ssl_ctx_st;
struct ssl_st;

namespace qlczephra::service {

class Channel {
 public:
  // Takes over the socket and closes it in the end. A null context means no TLS.
  Channel(int socket, ssl_ctx_st* tls);
  ~Channel();
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;

  // The TLS handshake, if there is one. False when it failed.
  bool open();
  [[nodiscard]] bool isResumedSession() const;

  // True once there is something to read, the end of the stream included.
  [[nodiscard]] bool awaitInput(std::chrono::milliseconds longest) const;
  [[nodiscard]] bool awaitOutput(std::chrono::milliseconds longest) const;

  // Both give the number of bytes, 0 at the end of the stream, or -1.
  ssize_t read(char* target, std::size_t size);
  ssize_t write(const char* source, std::size_t size);

  // Ends the connection at once: nothing more goes out and every wait returns.
  void cut();

  [[nodiscard]] int socket() const { return socket_; }

 private:
  [[nodiscard]] bool await(short events, std::chrono::milliseconds longest) const;

  const int socket_;
  const std::shared_ptr<ssl_st> tls_;  // null: plain
  std::vector<char> buffer_;           // read from a plain socket, from taken_ on not handed out yet
  std::size_t taken_ = 0;
};

}  // namespace qlczephra::service
