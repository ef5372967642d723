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
#include "platform/native/threads/mailbox.h"
#include "platform/queue.h"

namespace qlczephra::platform {

// Belongs to the thread that drives the network, on which its callbacks run too; reading the file (tens of
// milliseconds) is a worker's job.
class TrustStore {
 public:
  using Callback = std::function<void(const TrustedCertificates&)>;

  // `bundle`: a file of PEM certificates. `loads` counts how often it was read.
  TrustStore(std::string bundle, std::function<void(Task)> postToWorker, std::shared_ptr<Mailbox> mailbox,
             std::shared_ptr<std::atomic<std::uint64_t>> loads);

  // Calls back with the certificates as the file has them now: at once while the file is the one that was read, else
  // after it was read again. A file that is gone or has no certificate leaves those of before; without any before, the
  // store is empty and trusts nobody.
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

  static Signature signatureOf(const std::string& bundle);
  void load();
  void finishLoad(const Signature& signature, TrustedCertificates loaded);

  const std::string bundle_;
  const std::function<void(Task)> postToWorker_;
  const std::shared_ptr<Mailbox> mailbox_;
  const std::shared_ptr<std::atomic<std::uint64_t>> loads_;
  std::optional<Signature> signature_;  // of the content that `store_` has, or that could not be read
  TrustedCertificates store_;
  bool loading_ = false;
  std::vector<Callback> callbacks_;
};

}  // namespace qlczephra::platform
