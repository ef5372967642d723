// A manager that fetches settings over and over, from a service that answers with two documents in turn.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "benchmarks/accepted_write/one_thread.h"
#include "benchmarks/support/bench_directory.h"
#include "qlczephra/qlczephra.h"

namespace qlczephra::bench {

// What a service answers, and what a manager then stores.
struct Replies {
  // Some of the strings differ, so that each reply changes settings.
  std::string documents[2];
  std::string stored;  // after the second
};

// Made when first asked for. Ends the program when what a manager has and stores is not what the documents say.
[[nodiscard]] const Replies& repliesWith(std::size_t settings);

// Not to be kept while something else is measured: many blocks of memory that stay scatter those that come.
class ReplyWorld {
 public:
  // With the settings of the second document.
  explicit ReplyWorld(const Replies& replies);

  // Fetches once. The time is that from the arrival of a 200 with the next document, complete in memory, to the host's
  // completion; what was replaced is freed afterwards, as by a worker.
  [[nodiscard]] std::chrono::duration<double> applyReply();

  [[nodiscard]] bool hasAndStores(const Map& tree) const;
  [[nodiscard]] std::string stored() const { return viewOf(directory_.file("zephra.plist")); }

 private:
  struct Host : QLCZephraAuthenticationDelegate, QLCServicesURLsProviderProtocol {
    void getCCRCredentials(CredentialsCallback answer) override { answer("token", nullptr); }
    void getURLForService(std::uint64_t, URLCallback answer) override { answer(nullptr, "http://service.example"); }
    void respondToChallenge(const ServerTrust&, ChallengeCallback) override {}
  };

  const Replies& replies_;
  std::size_t next_ = 1;
  BenchDirectory directory_;
  OneThread platform_;
  std::shared_ptr<Host> host_ = std::make_shared<Host>();
  QLCZephraManager manager_{std::make_shared<QLCAppInfo>("p", "benchmark/1"), host_, host_, platform_};
};

}  // namespace qlczephra::bench
