// The real HTTP session: libcurl and OpenSSL on one network thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/http_session.h"
#include "platform/mutex.h"
#include "platform/native/http/http_engine.h"
#include "platform/native/http/native_http_environment.h"

namespace qlczephra::platform {

// Any thread may call any operation. The network thread starts with the first request and ends with stop(); it runs no
// host code. Where it cannot be started the request fails, and the next one tries again.
//
// HTTP/1.1; connections and TLS sessions are kept and reused by the requests that have the same certificates handler,
// or none. Requests above the number of transfers at once wait for their turn in the order of sending.
class CurlHttpSession final : public HttpSession {
 public:
  explicit CurlHttpSession(NativeHttpEnvironment environment, HttpSessionOptions options = {});
  ~CurlHttpSession() override;  // stops

  // Throws std::bad_alloc, and std::system_error when there is neither a network thread nor a worker to be had. Then
  // the completion is not called.
  void send(HttpRequest request, HttpCompletion completion) override;

  // Ends all transfers, closes all connections, and returns when the network thread has ended, which waits for neither
  // the network nor a name nor host code. Completions that were not posted yet are dropped, unrun; so is
  // everything sent later.
  void stop() QLCZ_EXCLUDES(mutex_);

  // How often the file of trusted certificates has been read.
  [[nodiscard]] std::uint64_t trustStoreLoads() const { return *trustStoreLoads_; }

 private:
  class Network;

  // Has a worker call the completion.
  void fail(Transfer& transfer, const char* reason);

  const NativeHttpEnvironment environment_;
  const HttpSessionOptions options_;
  const std::shared_ptr<std::atomic<std::uint64_t>> trustStoreLoads_ = std::make_shared<std::atomic<std::uint64_t>>(0);
  Mutex mutex_;
  bool stopped_ QLCZ_GUARDED_BY(mutex_) = false;
  std::shared_ptr<Network> network_ QLCZ_GUARDED_BY(mutex_);
};

}  // namespace qlczephra::platform
