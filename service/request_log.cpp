#include "service/request_log.h"

#include <array>

namespace qlczephra::service {

Value describe(const LoggedRequest& entry) {
  constexpr std::array shown{"Content-Type", "If-Match", "If-None-Match", "User-Agent"};
  Map::Builder headers;
  for (const char* name : shown) {
    if (const auto value = findHeader(entry.request.headers, name)) headers.set(name, *value);
  }
  if (findHeader(entry.request.headers, "Authorization")) headers.set("Authorization", "(not shown)");
  constexpr std::array drops{"never", "before-headers", "after-headers", "mid-body"};
  return Map{{"transaction", entry.transaction},
             {"method", entry.request.method},
             {"target", entry.request.target},
             {"headers", headers.build()},
             {"body", entry.request.body},
             {"status", entry.status},
             {"drop", drops[static_cast<std::size_t>(entry.drop)]}};
}

RequestLog::RequestLog(std::size_t capacity, Observer observer) : capacity_(capacity), observer_(std::move(observer)) {}

void RequestLog::add(LoggedRequest entry) {
  if (observer_) observer_(entry);
  const platform::MutexLock lock(mutex_);
  ++count_;
  entries_.push_back(std::move(entry));
  if (entries_.size() > capacity_) entries_.pop_front();
}

void RequestLog::clear() {
  const platform::MutexLock lock(mutex_);
  entries_.clear();
  count_ = 0;
}

std::vector<LoggedRequest> RequestLog::entries() const {
  const platform::MutexLock lock(mutex_);
  return {entries_.begin(), entries_.end()};
}

std::uint64_t RequestLog::count() const {
  const platform::MutexLock lock(mutex_);
  return count_;
}

}  // namespace qlczephra::service
