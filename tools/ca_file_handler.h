// Trusts the servers whose certificates lead to one of the authorities in a file, and no others.
#pragma once

#include <memory>
#include <string>

#include "qlczephra/certificates_handler.h"

struct x509_store_st;

namespace qlczephra::tools {

// Threads: any.
class CaFileHandler : public QLCPMCertificatesHandler {
 public:
  // `path` names certificates in PEM form. Throws Failure when there is none in it.
  explicit CaFileHandler(const std::string& path);

  // Trusts a chain that is valid now, leads to an authority of the file, and names the host (RFC 6125).
  void evaluate(const ServerTrust& trust, std::function<void(TrustDecision)> decide) override;

 private:
  const std::shared_ptr<x509_store_st> authorities_;
};

}  // namespace qlczephra::tools
