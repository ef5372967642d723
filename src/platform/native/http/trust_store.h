// The system's trusted certificates, parsed once and shared by all connections.
#pragma once

#include <sys/stat.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/native/http/certificate_verification.h"
#include "platform/native/threads/loop_queue.h"
#include "platform/queue.h"

namespace qlczephra::platform {

// Belongs to the network thread, on which its callbacks run too; reading the file (tens of
// milliseconds) is a worker's job.
class TrustStore {
 public:
  using Callback = std::function<void(const TrustedCertificates&)>;  // must not throw

  // `bundle`: a file of PEM certificates. `loads` counts how often it was read.
  TrustStore(std::string bundle, std::function<void(Task)> postToWorker, std::shared_ptr<LoopQueue> loopQueue,
             std::shared_ptr<std::atomic<std::uint64_t>> loads);

  // Calls back with the certificates as the file has them now: at once while the file is the one that was read, else
  // after it was read again. A file that is gone or has no certificate leaves those of before; without any before, the
  // store is empty and trusts nobody; null when memory is short. Throws as WorkerPool::post().
  void whenCurrent(Callback callback);

 private:
  // What tells one content of the file from the next without reading it.
  struct Signature {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = -1;  // no such file
    std::int64_t modified = 0;
    std::int64_t changed = 0;
    bool operator==(const Signature&) const = default;
  };

  struct Loaded {
    std::optional<Signature> signature;  // nullopt: memory was short
    TrustedCertificates store;           // null when the file could not be read
  };

  static Signature signatureOf(const std::string& bundle);
  void load();
  void finishLoad(Loaded loaded);

  const std::string bundle_;
  const std::function<void(Task)> postToWorker_;
  const std::shared_ptr<LoopQueue> loopQueue_;
  const std::shared_ptr<std::atomic<std::uint64_t>> loads_;
  std::optional<Signature> signature_;  // of the content that `store_` has, or that could not be read
  TrustedCertificates store_;
  bool loading_ = false;
  std::vector<Callback> callbacks_;
};

}  // namespace qlczephra::platform
