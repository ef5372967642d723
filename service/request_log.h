// What the service was asked, newest last. For tests, for the control interface and for people.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "platform/mutex.h"
#include "qlczephra/value.h"
#include "service/exchange.h"

namespace qlczephra::service {

struct LoggedRequest {
  std::string transaction;
  ServiceRequest request;  // whole, the bearer token included
  int status = 0;          // of the reply, also of one that was dropped
  Drop drop = Drop::never;
};

// As JSON for readers outside the process; the bearer token is left out.
[[nodiscard]] Value describe(const LoggedRequest& entry);

// Threads: any; every operation is one step.
class RequestLog {
 public:
  // Runs for every request, on the thread that handles it, with no lock held.
  using Observer = std::function<void(const LoggedRequest&)>;

  explicit RequestLog(std::size_t capacity, Observer observer = {});

  void add(LoggedRequest entry);
  void clear();

  // The newest requests, at most `capacity` of them.
  [[nodiscard]] std::vector<LoggedRequest> entries() const;
  // All since the start or the last clear().
  [[nodiscard]] std::uint64_t count() const;

 private:
  const std::size_t capacity_;
  const Observer observer_;
  mutable platform::Mutex mutex_;
  std::deque<LoggedRequest> entries_ QLCZ_GUARDED_BY(mutex_);
  std::uint64_t count_ QLCZ_GUARDED_BY(mutex_) = 0;
};

}  // namespace qlczephra::service
