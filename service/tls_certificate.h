// A certificate authority and a server certificate of its own, made anew at each call. For development and tests: the
// keys live in memory only.
#pragma once

#include <memory>
#include <string>
#include <vector>

struct evp_pkey_st;
struct x509_st;

namespace qlczephra::service {

struct CertificateRequest {
  std::vector<std::string> names = {"localhost", "127.0.0.1", "::1"};  // host names and addresses
  bool expired = false;                                                // valid until an hour ago
};

struct ServerCertificate {
  std::shared_ptr<x509_st> certificate;
  std::shared_ptr<evp_pkey_st> key;
  std::shared_ptr<x509_st> authority;
  std::string authorityPem;  // what a client must trust
};

// Throws std::runtime_error when the cryptography library refuses.
[[nodiscard]] ServerCertificate makeServerCertificate(const CertificateRequest& request = {});

}  // namespace qlczephra::service
