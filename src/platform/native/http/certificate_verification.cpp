#include "platform/native/http/certificate_verification.h"

#include <arpa/inet.h>
#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <array>

namespace qlczephra::platform {
namespace {

struct Deleter {
  void operator()(X509_STORE_CTX* context) const noexcept { X509_STORE_CTX_free(context); }
  // The certificates belong to others.
  void operator()(STACK_OF(X509) * stack) const noexcept { sk_X509_free(stack); }
};

}  // namespace

bool expectHost(X509_VERIFY_PARAM* parameters, const std::string& host) {
  std::array<unsigned char, sizeof(in6_addr)> address{};
  if (::inet_pton(AF_INET, host.c_str(), address.data()) == 1) {
    return X509_VERIFY_PARAM_set1_ip(parameters, address.data(), sizeof(in_addr)) == 1;
  }
  if (::inet_pton(AF_INET6, host.c_str(), address.data()) == 1) {
    return X509_VERIFY_PARAM_set1_ip(parameters, address.data(), sizeof(in6_addr)) == 1;
  }
  X509_VERIFY_PARAM_set_hostflags(parameters,
                                  X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS | X509_CHECK_FLAG_NEVER_CHECK_SUBJECT);
  // A name's final dot stands in no certificate.
  const std::size_t length = host.size() > 1 && host.back() == '.' ? host.size() - 1 : host.size();
  return X509_VERIFY_PARAM_set1_host(parameters, host.data(), length) == 1;
}

bool verifyServer(const TrustedCertificates& trusted, const std::vector<Certificate>& chain, const std::string& host,
                  int securityLevel) {
  if (chain.empty() || !trusted) return false;
  const std::unique_ptr<STACK_OF(X509), Deleter> sent(sk_X509_new_null());
  const std::unique_ptr<X509_STORE_CTX, Deleter> context(X509_STORE_CTX_new());
  if (!sent || !context) return false;
  for (const Certificate& certificate : chain) {
    if (sk_X509_push(sent.get(), certificate.get()) == 0) return false;
  }
  if (X509_STORE_CTX_init(context.get(), trusted.get(), chain.front().get(), sent.get()) != 1 ||
      X509_STORE_CTX_set_default(context.get(), "ssl_server") != 1) {
    return false;
  }
  X509_VERIFY_PARAM* const parameters = X509_STORE_CTX_get0_param(context.get());
  X509_VERIFY_PARAM_set_auth_level(parameters, securityLevel);
  const bool good = expectHost(parameters, host) && X509_verify_cert(context.get()) == 1;
  ERR_clear_error();
  return good;
}

}  // namespace qlczephra::platform
