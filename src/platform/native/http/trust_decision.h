// Asks the host's certificates handler about a server while other transfers go on.
//
// OpenSSL wants the verdict from within the handshake. So a handshake that has to ask runs as an OpenSSL job with a
// stack of its own, which is left in the middle of the verification (`TrustGate`) and entered again when the verdict is
// there. That stack is small and belongs to the network thread: the host is asked on a worker
// (`askHandler`).
#pragma once

#include <openssl/ssl.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/native/http/certificate_verification.h"
#include "platform/native/http/native_http_environment.h"
#include "platform/native/threads/loop_queue.h"
#include "qlczephra/certificates_handler.h"

namespace qlczephra::platform {

// The place in a handshake where the verdict is waited for. Belongs to the network thread.
//
// A handshake that waits here must be continued with a verdict before its connection is closed: OpenSSL would never
// free its stack.
class TrustGate {
 public:
  // `onWaiting` runs on the small stack when a handshake begins to wait: it may only make a note of that.
  explicit TrustGate(std::function<void()> onWaiting) : onWaiting_(std::move(onWaiting)) {}
  TrustGate(const TrustGate&) = delete;
  TrustGate& operator=(const TrustGate&) = delete;

  // Has the context's next handshake wait here. The gate must outlive the handshake.
  void installIn(SSL_CTX* context);
  // Lets the handshake that waits end with this verdict when it is driven next.
  void decide(bool trusted) { verdict_ = trusted ? Verdict::trusted : Verdict::refused; }

  // What the server of the waiting handshake has sent, its own certificate first.
  [[nodiscard]] const std::vector<Certificate>& chain() const { return chain_; }
  [[nodiscard]] int securityLevel() const { return securityLevel_; }

 private:
  enum class Verdict : std::uint8_t { none, trusted, refused };

  static int verify(X509_STORE_CTX* context, void* gate);

  const std::function<void()> onWaiting_;
  std::vector<Certificate> chain_;
  int securityLevel_ = 0;
  Verdict verdict_ = Verdict::none;
};

// Has a worker call the handler. `decided` is posted to the queue with the handler's first answer; a handler that
// throws has answered `refuse`, one that never answers never comes back here. Once the queue is closed the handler is
// not called any more. The handler is released on the worker.
void askHandler(const NativeHttpEnvironment& environment, const std::shared_ptr<LoopQueue>& loopQueue,
                std::shared_ptr<QLCPMCertificatesHandler> handler, std::string host, std::uint16_t port,
                std::vector<Certificate> chain, std::function<void(TrustDecision)> decided);

}  // namespace qlczephra::platform
