// What a host gives to a manager, in the plainest form: a token and a URL that are known from the start, or no token.
#pragma once

#include <string>

#include "qlczephra/authentication_delegate.h"
#include "qlczephra/services_urls_provider.h"

namespace qlczephra::tools {

class FixedToken : public QLCZephraAuthenticationDelegate {
 public:
  explicit FixedToken(std::string token) : token_(std::move(token)) {}
  void getCCRCredentials(CredentialsCallback callback) override { callback(token_, nullptr); }

 private:
  const std::string token_;
};

// Never answers, so that no request ever begins.
class NoToken : public QLCZephraAuthenticationDelegate {
 public:
  void getCCRCredentials(CredentialsCallback) override {}
};

class FixedURL : public QLCServicesURLsProviderProtocol {
 public:
  explicit FixedURL(std::string url) : url_(std::move(url)) {}
  void getURLForService(std::uint64_t, URLCallback callback) override { callback(nullptr, url_); }
  void respondToChallenge(const ServerTrust&, ChallengeCallback callback) override {
    callback(TrustDecision::performDefaultHandling, std::nullopt);
  }

 private:
  const std::string url_;
};

}  // namespace qlczephra::tools
