// A manager with pending changes in its files, which accepts one more.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "benchmarks/support/bench_directory.h"
#include "qlczephra/qlczephra.h"

namespace qlczephra::bench {

class PendingWorld {
 public:
  // Of so many integer settings the first `pending` have a change that waits. Ends the program when the files do not
  // say so.
  PendingWorld(int settings, int pending);

  // Changes a setting whose change is waiting already, so that all rounds are alike.
  void change();
  // The files that a change replaces, replaced without a manager: as many bytes, flushed in the same order.
  void replaceFiles() const;

 private:
  // Never answers. The first change is thus "being uploaded" for good, and all later ones gather in the patch file.
  struct SilentDelegate : QLCZephraAuthenticationDelegate {
    void getCCRCredentials(CredentialsCallback) override {}
  };
  struct NoURL : QLCServicesURLsProviderProtocol {
    void getURLForService(std::uint64_t, URLCallback) override {}
    void respondToChallenge(const ServerTrust&, ChallengeCallback) override {}
  };

  BenchDirectory directory_;
  std::shared_ptr<SilentDelegate> delegate_ = std::make_shared<SilentDelegate>();
  QLCZephraManager manager_{std::make_shared<QLCAppInfo>("p", "benchmark/1"), std::make_shared<NoURL>(), delegate_};
  std::string patch_;
  std::string local_;
  int value_ = 1'000'000;
};

}  // namespace qlczephra::bench
