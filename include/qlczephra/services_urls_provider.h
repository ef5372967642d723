// The host's source of service URLs.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "qlczephra/certificates_handler.h"
#include "qlczephra/error.h"

namespace qlczephra {

class QLCZEPHRA_EXPORT QLCServicesURLsProviderProtocol {
 public:
  // The identifier of the settings service, the only one that the library asks for.
  static constexpr std::uint64_t settingsService = 1;

  // An error or the base URL of the service, http or https.
  using URLCallback = std::function<void(ErrorRef error, std::optional<std::string> url)>;
  using ChallengeCallback = std::function<void(TrustDecision decision, std::optional<std::string> credential)>;

  virtual ~QLCServicesURLsProviderProtocol();

  // Asked before every request, repetitions included. The callback is to be called once, at once or later, on any
  // thread, on which the library then goes on. With a URL the error is ignored; with neither, the call ends with
  // `noServiceURL`. A second call is ignored. While no answer comes the call stays open; an exception counts as no
  // answer.
  virtual void getURLForService(std::uint64_t service, URLCallback callback) = 0;

  // Declared for hosts that use one provider for all their services. The library never calls it: server certificates
  // are the business of QLCPMCertificatesHandler.
  virtual void respondToChallenge(const ServerTrust& challenge, ChallengeCallback callback) = 0;
};

}  // namespace qlczephra
