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

class ReplyWorld {
 public:
  // Ends the program when what is stored after a reply is not what the document says.
  explicit ReplyWorld(std::size_t settings);

  // Fetches once. The time is that from the arrival of a 200 with the next document, complete in memory, to the host's
  // completion; what was replaced is freed afterwards, as by a worker.
  [[nodiscard]] std::chrono::duration<double> applyReply();
  // The local settings file written, flushed and renamed, without a manager.
  void replaceFile() const;

 private:
  struct Host : QLCZephraAuthenticationDelegate, QLCServicesURLsProviderProtocol {
    void getCCRCredentials(CredentialsCallback answer) override { answer("token", nullptr); }
    void getURLForService(std::uint64_t, URLCallback answer) override { answer(nullptr, "http://service.example"); }
    void respondToChallenge(const ServerTrust&, ChallengeCallback) override {}
  };

  void requireStored(const std::string& document) const;

  // Some of the strings differ, so that each reply changes settings.
  std::string documents_[2];
  std::size_t next_ = 0;
  std::string local_;
  BenchDirectory directory_;
  OneThread platform_;
  std::shared_ptr<Host> host_ = std::make_shared<Host>();
  QLCZephraManager manager_{std::make_shared<QLCAppInfo>("p", "benchmark/1"), host_, host_, platform_};
};

}  // namespace qlczephra::bench
