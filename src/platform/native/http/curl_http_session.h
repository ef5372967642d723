// The real HTTP session: libcurl and OpenSSL, driven by one worker thread at a time.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/http_session.h"
#include "platform/mutex.h"
#include "platform/native/http/http_engine.h"
#include "platform/native/http/native_http_environment.h"

namespace qlczephra::platform {

// Any thread may call any operation. There is no network thread but a role of one: the first request makes a worker
// drive the network, which it goes on with for as long as there are transfers and runs no host code meanwhile. With the
// last of them it turns to their completions, which so need no other thread to be woken, and the next request makes a
// worker drive again.
//
// HTTP/1.1; connections and TLS sessions are kept and reused by the requests that have the same certificates handler,
// or none. Requests above the number of transfers at once wait for their turn in the order of sending.
class CurlHttpSession final : public HttpSession {
 public:
  explicit CurlHttpSession(NativeHttpEnvironment environment, HttpSessionOptions options = {});
  ~CurlHttpSession() override;  // stops

  void send(HttpRequest request, HttpCompletion completion) override;

  // Ends all transfers, closes all connections, and returns when no worker drives the network any more, which waits for
  // neither the network nor a name nor host code. Completions that were not posted yet are dropped, unrun; so is
  // everything sent later.
  void stop() QLCZ_EXCLUDES(mutex_);

  // How often the file of trusted certificates has been read.
  [[nodiscard]] std::uint64_t trustStoreLoads() const { return *trustStoreLoads_; }

 private:
  class Network;

  std::shared_ptr<Network> startedNetwork() QLCZ_REQUIRES(mutex_);

  const NativeHttpEnvironment environment_;
  const HttpSessionOptions options_;
  const std::shared_ptr<std::atomic<std::uint64_t>> trustStoreLoads_ = std::make_shared<std::atomic<std::uint64_t>>(0);
  Mutex mutex_;
  bool stopped_ QLCZ_GUARDED_BY(mutex_) = false;
  std::shared_ptr<Network> network_ QLCZ_GUARDED_BY(mutex_);
};

}  // namespace qlczephra::platform
