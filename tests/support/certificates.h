// Certificates made on the spot: a test's own authority and the servers that it vouches for.
#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace qlczephra::test {

// What a TLS server needs, in PEM.
struct ServerIdentity {
  std::string chain;  // its own certificate first
  std::string privateKey;
};

struct CertificateWishes {
  std::vector<std::string> hosts = {"localhost"};
  std::vector<std::string> addresses = {"127.0.0.1"};
  std::string commonName = "test server";
  std::chrono::seconds validFrom = std::chrono::hours(-1);  // from now
  std::chrono::seconds validUntil = std::chrono::hours(1);
};

// Failures throw std::runtime_error.
class CertificateAuthority {
 public:
  explicit CertificateAuthority(const std::string& name);
  // Its certificate in PEM, for a bundle of trusted certificates.
  [[nodiscard]] std::string certificate() const;
  [[nodiscard]] ServerIdentity issue(const CertificateWishes& wishes = {}) const;

 private:
  std::shared_ptr<EVP_PKEY> key_;
  std::shared_ptr<X509> certificate_;
};

}  // namespace qlczephra::test
