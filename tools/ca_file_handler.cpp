#include "tools/ca_file_handler.h"

#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <new>

#include "tools/failure.h"
#include "tools/input.h"

namespace qlczephra::tools {
namespace {

using Certificate = std::unique_ptr<X509, void (*)(X509*)>;
using VerificationContext = std::unique_ptr<X509_STORE_CTX, void (*)(X509_STORE_CTX*)>;

// The certificates of a chain; owns them.
class Chain {
 public:
  explicit Chain(const std::vector<std::string>& encoded) : certificates_(sk_X509_new_null()) {
    if (certificates_ == nullptr) throw std::bad_alloc();
    for (const std::string& der : encoded) {
      const auto* bytes = reinterpret_cast<const unsigned char*>(der.data());
      Certificate certificate(d2i_X509(nullptr, &bytes, static_cast<long>(der.size())), X509_free);
      if (certificate == nullptr || sk_X509_push(certificates_, certificate.get()) == 0) return;
      static_cast<void>(certificate.release());  // the stack owns it now
    }
    complete_ = !encoded.empty();
  }
  Chain(const Chain&) = delete;
  Chain& operator=(const Chain&) = delete;
  ~Chain() { sk_X509_pop_free(certificates_, X509_free); }

  [[nodiscard]] bool complete() const { return complete_; }
  [[nodiscard]] X509* server() const { return sk_X509_value(certificates_, 0); }
  [[nodiscard]] STACK_OF(X509) * all() const { return certificates_; }

 private:
  STACK_OF(X509) * certificates_;
  bool complete_ = false;
};

std::shared_ptr<X509_STORE> loadAuthorities(const std::string& path) {
  const std::string remedy = "give a file of certificates in PEM form with --ca";
  (void)readInput(path, remedy);  // says why a file cannot be read
  std::shared_ptr<X509_STORE> store(X509_STORE_new(), X509_STORE_free);
  if (store == nullptr) throw std::bad_alloc();
  if (X509_STORE_load_file(store.get(), path.c_str()) != 1) throw Failure(path + " holds no certificate; " + remedy);
  return store;
}

bool isTrusted(X509_STORE* authorities, const ServerTrust& trust) {
  const Chain chain(trust.chain);
  if (!chain.complete()) return false;
  const VerificationContext context(X509_STORE_CTX_new(), X509_STORE_CTX_free);
  if (context == nullptr || X509_STORE_CTX_init(context.get(), authorities, chain.server(), chain.all()) != 1) {
    return false;
  }
  X509_STORE_CTX_set_default(context.get(), "ssl_server");
  X509_VERIFY_PARAM* rules = X509_STORE_CTX_get0_param(context.get());
  if (X509_VERIFY_PARAM_set1_ip_asc(rules, trust.host.c_str()) != 1 &&
      X509_VERIFY_PARAM_set1_host(rules, trust.host.data(), trust.host.size()) != 1) {
    return false;
  }
  return X509_verify_cert(context.get()) == 1;
}

}  // namespace

CaFileHandler::CaFileHandler(const std::string& path) : authorities_(loadAuthorities(path)) {}

void CaFileHandler::evaluate(const ServerTrust& trust, std::function<void(TrustDecision)> decide) {
  decide(isTrusted(authorities_.get(), trust) ? TrustDecision::trust : TrustDecision::refuse);
}

}  // namespace qlczephra::tools
