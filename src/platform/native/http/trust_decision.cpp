#include "platform/native/http/trust_decision.h"

#include <openssl/async.h>
#include <openssl/err.h>

#include <atomic>
#include <new>
#include <utility>

namespace qlczephra::platform {
namespace {

std::string derOf(X509* certificate) {
  unsigned char* bytes = nullptr;
  const int length = i2d_X509(certificate, &bytes);
  if (length < 0) return {};
  std::string der(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length));
  OPENSSL_free(bytes);
  return der;
}

// Where the host's answer goes. The host may keep it for ever and use it from any thread; it holds nothing of the host.
class Answer {
 public:
  Answer(std::shared_ptr<LoopQueue> loopQueue, std::function<void(TrustDecision)> decided)
      : loopQueue_(std::move(loopQueue)), decided_(std::move(decided)) {}

  void give(TrustDecision decision) {
    if (given_.exchange(true)) return;
    try {
      loopQueue_->post([decided = std::move(decided_), decision] { decided(decision); });
    } catch (const std::bad_alloc&) {  // as if there were no answer
    }
  }

 private:
  const std::shared_ptr<LoopQueue> loopQueue_;
  std::function<void(TrustDecision)> decided_;
  std::atomic<bool> given_ = false;
};

}  // namespace

void TrustGate::installIn(SSL_CTX* context) {
  chain_.clear();
  verdict_ = Verdict::none;
  SSL_CTX_set_mode(context, SSL_MODE_ASYNC);
  SSL_CTX_set_cert_verify_callback(context, &TrustGate::verify, this);
}

int TrustGate::verify(X509_STORE_CTX* context, void* self) {
  TrustGate& gate = *static_cast<TrustGate*>(self);
  auto* const ssl = static_cast<SSL*>(X509_STORE_CTX_get_ex_data(context, SSL_get_ex_data_X509_STORE_CTX_idx()));
  // Without a stack of its own (the platform has none, or memory ran out) the thread would wait here for ever.
  if (ASYNC_get_current_job() == nullptr) gate.verdict_ = Verdict::refused;
  if (gate.verdict_ == Verdict::none) try {
      const STACK_OF(X509)* const sent = X509_STORE_CTX_get0_untrusted(context);
      for (int i = 0; i < sk_X509_num(sent); ++i) {
        X509* const certificate = sk_X509_value(sent, i);
        X509_up_ref(certificate);
        gate.chain_.emplace_back(certificate, X509_free);  // frees it also when it throws
      }
      gate.securityLevel_ = SSL_get_security_level(ssl);
      gate.onWaiting_();
    } catch (const std::bad_alloc&) {
      gate.verdict_ = Verdict::refused;
    }
  while (gate.verdict_ == Verdict::none) ASYNC_pause_job();
  // The connection's later reads and writes need no stack of their own.
  SSL_clear_mode(ssl, SSL_MODE_ASYNC);
  const bool trusted = gate.verdict_ == Verdict::trusted;
  X509_STORE_CTX_set_error(context, trusted ? X509_V_OK : X509_V_ERR_APPLICATION_VERIFICATION);
  return trusted ? 1 : 0;
}

void askHandler(const NativeHttpEnvironment& environment, const std::shared_ptr<LoopQueue>& loopQueue,
                std::shared_ptr<QLCPMCertificatesHandler> handler, std::string host, std::uint16_t port,
                std::vector<Certificate> chain, std::function<void(TrustDecision)> decided) {
  struct Question {
    NativeHttpEnvironment environment;
    std::shared_ptr<LoopQueue> loopQueue;
    std::shared_ptr<QLCPMCertificatesHandler> handler;
    ServerTrust trust;
    std::vector<Certificate> chain;
    std::shared_ptr<Answer> answer;
  };
  auto question = std::make_shared<Question>(Question{environment,
                                                      loopQueue,
                                                      std::move(handler),
                                                      {std::move(host), port, {}},
                                                      std::move(chain),
                                                      std::make_shared<Answer>(loopQueue, std::move(decided))});
  environment.post([question = std::move(question)] {
    for (const Certificate& certificate : question->chain) question->trust.chain.push_back(derOf(certificate.get()));
    if (question->loopQueue->closed() || !question->environment.hostCodeBegins()) return;
    bool threw = false;
    try {
      question->handler->evaluate(question->trust,
                                  [answer = question->answer](TrustDecision decision) { answer->give(decision); });
    } catch (...) {
      threw = true;
    }
    question->environment.hostCodeEnds();
    if (!threw) return;
    question->answer->give(TrustDecision::refuse);
    question->environment.log->process("The certificates handler threw an exception; the server is not trusted.");
  });
}

}  // namespace qlczephra::platform
