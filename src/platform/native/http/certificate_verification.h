// The platform's evaluation of a server: its chain against the trusted certificates, and its name.
#pragma once

#include <openssl/x509_vfy.h>

#include <memory>
#include <string>
#include <vector>

namespace qlczephra::platform {

using TrustedCertificates = std::shared_ptr<X509_STORE>;
using Certificate = std::shared_ptr<X509>;

// Makes a verification check the name: a host name against the certificate's DNS names (never its common name), an
// address against its addresses. False when memory ran out.
bool expectHost(X509_VERIFY_PARAM* parameters, const std::string& host);

// Whether the chain (the server's own certificate first) leads to a trusted certificate and belongs to the host.
// `securityLevel` is OpenSSL's, as the connection has it.
bool verifyServer(const TrustedCertificates& trusted, const std::vector<Certificate>& chain, const std::string& host,
                  int securityLevel);

}  // namespace qlczephra::platform
