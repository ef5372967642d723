// A host of managers: the machine with a trust store of its own, a token, a URL, and fetches that are waited for.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "benchmarks/support/require.h"
#include "platform/native/native_platform.h"
#include "qlczephra/qlczephra.h"

namespace qlczephra::bench {

inline constexpr const char* userAgent = "benchmark/1";
inline constexpr const char* token = "a-token-of-a-host-that-measures";

// This machine, with another file of trusted certificates.
class MachineTrusting : public platform::NativePlatform {
 public:
  explicit MachineTrusting(std::string bundle) : session_(httpEnvironment(), {.trustBundle = std::move(bundle)}) {}
  platform::HttpSession& http() override { return session_; }
  // Waits for no network.
  void end() {
    session_.stop();
    stop();
  }

 private:
  platform::CurlHttpSession session_;
};

struct TokenDelegate : QLCZephraAuthenticationDelegate {
  void getCCRCredentials(CredentialsCallback callback) override { callback(token, nullptr); }
};

struct FixedProvider : QLCServicesURLsProviderProtocol {
  explicit FixedProvider(std::string base) : base_(std::move(base)) {}
  void getURLForService(std::uint64_t, URLCallback callback) override { callback(nullptr, base_); }
  void respondToChallenge(const ServerTrust&, ChallengeCallback) override {}

 private:
  const std::string base_;
};

// Managers without files: what is measured is the fetch, not the disk.
class Host {
 public:
  Host(platform::Platform& machine, const std::string& base, const std::string& product)
      : machine_(machine),
        appInfo_(std::make_shared<QLCAppInfo>(product, userAgent)),
        provider_(std::make_shared<FixedProvider>(base)) {}

  [[nodiscard]] std::unique_ptr<QLCZephraManager> make() const {
    return std::make_unique<QLCZephraManager>(appInfo_, provider_, delegate_, machine_);
  }

 private:
  platform::Platform& machine_;
  const std::shared_ptr<QLCAppInfo> appInfo_;
  const std::shared_ptr<FixedProvider> provider_;
  const std::shared_ptr<TokenDelegate> delegate_ = std::make_shared<TokenDelegate>();
};

using Managers = std::vector<std::unique_ptr<QLCZephraManager>>;

// All of them fetch at once; returns when the last one has its reply.
inline void fetchAll(const Managers& managers) {
  // No std::latch, whose waiting thread keeps a processor busy for a while before it sleeps.
  std::mutex mutex;
  std::condition_variable last;
  std::size_t open = managers.size();
  for (const auto& manager : managers) {
    manager->fetchRemoteSettings([&](const ErrorRef& error) {
      require(error == nullptr, "a fetch failed");
      const std::lock_guard lock(mutex);
      if (--open == 0) last.notify_one();
    });
  }
  std::unique_lock lock(mutex);
  last.wait(lock, [&] { return open == 0; });
}

// The next fetch is answered with the whole document, not with "not modified".
inline void forget(QLCZephraManager& manager) {
  manager.setCurrentSettings(std::nullopt);
}

}  // namespace qlczephra::bench
