// The stand-in for the Zephra settings service, without a transport: one request in, one reply out. It starts no
// thread, reads no clock and opens no socket, so that a test or a simulated network can drive it; ServiceServer
// (http_server.h) puts it on a real port. It shares no protocol code with the client library.
//
// Threads: any number may call at once.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

#include "service/exchange.h"
#include "service/faults.h"
#include "service/request_log.h"
#include "service/store.h"

namespace qlczephra::service {

struct ServiceOptions {
  std::string basePath = {};                       // before "/zephra/...": empty, or begins with "/", ends without
  std::set<std::string, std::less<>> tokens = {};  // accepted bearer tokens; empty: every token that is not empty
  ValuesWriter valuesWriter = {};                  // as for Store
  Map savedValues = {};                            // as for Store
  std::size_t logCapacity = 10000;                 // requests kept for introspection
  RequestLog::Observer observer = {};              // as for RequestLog
};

class Service {
 public:
  explicit Service(ServiceOptions options = {});

  // Every reply carries an "x-transaction" of its own. Unknown path: 404; other method: 405; bearer token missing or
  // not accepted: 401; then as handlers.h says.
  [[nodiscard]] ServiceReply handle(const ServiceRequest& request);

  [[nodiscard]] Store& store() { return store_; }
  [[nodiscard]] FaultScript& faults() { return faults_; }
  [[nodiscard]] RequestLog& log() { return log_; }

 private:
  [[nodiscard]] ServiceReply answer(const ServiceRequest& request);
  [[nodiscard]] bool isAuthorized(const ServiceRequest& request) const;

  const std::string basePath_;
  const std::set<std::string, std::less<>> tokens_;
  Store store_;
  FaultScript faults_;
  RequestLog log_;
  std::atomic<std::uint64_t> transactions_{0};
};

}  // namespace qlczephra::service
