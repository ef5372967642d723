// Many easy handles on one multi handle, driven by epoll, as a careful user of libcurl does it.
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "benchmarks/fetch/bare_handle.h"

namespace qlczephra::bench {

class BareMulti {
 public:
  // As many connections are kept for later transfers as the library keeps.
  BareMulti(const BareRequest& request, std::size_t handles);
  ~BareMulti();
  BareMulti(const BareMulti&) = delete;
  BareMulti& operator=(const BareMulti&) = delete;

  // All of them get the document at once; returns when the last one has it.
  void getAll();
  [[nodiscard]] const std::string& firstBody() const { return handles_.front()->body(); }

 private:
  using Clock = std::chrono::steady_clock;

  static int onSocket(CURL* easy, curl_socket_t socket, int what, void* self, void* known);
  static int onTimer(CURLM* multi, long milliseconds, void* self);
  void wait();
  void drive(curl_socket_t socket, int events);

  CURLM* const multi_;
  const int epoll_;
  std::vector<std::unique_ptr<BareHandle>> handles_;
  std::size_t running_ = 0;
  bool timed_ = false;
  Clock::time_point deadline_;
};

}  // namespace qlczephra::bench
