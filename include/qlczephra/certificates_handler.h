// The host's authority on server certificates.
//
// A host that wants to decide itself which servers to trust (pinning, a private root) derives from
// QLCPMCertificatesHandler and sets its object as the shared instance before it makes managers: each manager's
// QLCNetworkRequest takes the instance once, when it is made. Without an instance the platform's evaluation applies:
// the system's trusted certificates, and the host name as RFC 9110 section 4.3.4 prescribes.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "qlczephra/export.h"

namespace qlczephra {

// What a TLS server has shown of itself.
struct ServerTrust {
  std::string host;  // as in the URL, without brackets for an IPv6 address
  std::uint16_t port = 0;
  std::vector<std::string> chain;  // X.509 certificates as DER, the server's own first, as the server sent them
};

enum class TrustDecision : std::uint8_t {
  trust,                   // go on, whatever the chain and the host name are
  refuse,                  // end the connection; the request fails in transport
  performDefaultHandling,  // decide as if there were no handler
};

class QLCZEPHRA_EXPORT QLCPMCertificatesHandler {
 public:
  virtual ~QLCPMCertificatesHandler();

  // The shared object; null when the host has set none. Any thread.
  [[nodiscard]] static std::shared_ptr<QLCPMCertificatesHandler> instance();
  // Replaces the shared object for the request objects made from now on; null is allowed. Any thread.
  static void setInstance(std::shared_ptr<QLCPMCertificatesHandler> handler);

  // Asked once for every new connection to a TLS server. A kept connection and a resumed session inherit the decision
  // that this same object took, for 10 minutes at most; then it is asked again, so that trust can be taken back.
  // `decide` may be called at once or later, on any thread; a second call is ignored. No decision within 9.5 seconds,
  // or an exception, counts as `refuse`. Runs on a worker thread of the library, and several calls may run at once;
  // other transfers go on meanwhile.
  virtual void evaluate(const ServerTrust& trust, std::function<void(TrustDecision)> decide) = 0;
};

}  // namespace qlczephra
