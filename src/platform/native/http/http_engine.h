// Takes requests through their stages: waiting for a place, name and trusted certificates, transfer, verdict on the
// server, outcome.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/http_session.h"
#include "platform/native/http/connection_pool.h"
#include "platform/native/http/native_http_environment.h"
#include "platform/native/http/resolver.h"
#include "platform/native/http/trust_store.h"
#include "platform/native/threads/event_loop.h"

namespace qlczephra::platform {

struct HttpSessionOptions {
  std::string trustBundle;  // a file of PEM certificates; empty: the system's
  LookUp lookUp = systemLookUp;
  // Further requests wait for their turn, which does not count as a wait without progress. 0: a quarter of the
  // descriptors that the process may open, so that the host keeps the greater part.
  std::size_t transfersAtOnce = 0;
  // How long a certificates handler's decision holds for other connections and sessions than the one it was asked for.
  std::chrono::milliseconds decisionLifetime = std::chrono::minutes(10);
  // How long connections without a transfer are kept.
  std::chrono::milliseconds idleTime = std::chrono::seconds(115);
};

// Belongs to the thread that drives the network.
class HttpEngine final : private TransferObserver {
 public:
  HttpEngine(EventLoop& loop, NativeHttpEnvironment environment, HttpSessionOptions options,
             std::shared_ptr<std::atomic<std::uint64_t>> trustStoreLoads);
  // Drops all requests and closes all connections, waiting for nothing.
  ~HttpEngine();
  HttpEngine(const HttpEngine&) = delete;
  HttpEngine& operator=(const HttpEngine&) = delete;

  void submit(HttpRequest request, HttpCompletion completion);

  // What is to be run on workers: completions.
  [[nodiscard]] std::vector<Task> takeDeliveries() { return std::exchange(deliveries_, {}); }
  // Whether nothing is to be done but to close connections in time. Then any thread may go on.
  [[nodiscard]] bool idle() const { return exchanges_.empty() && queue_.empty(); }

 private:
  using Clock = EventLoop::Clock;
  using Id = std::uint64_t;

  enum class Stage : std::uint8_t { preparing, running, waitingForTrust };

  struct Exchange {
    Id id = 0;
    std::unique_ptr<Transfer> transfer;
    Stage stage = Stage::preparing;
    bool certificatesKnown = false;
    bool addressesKnown = false;
    TrustedCertificates certificates;
    std::vector<std::string> addresses;
    ConnectionPool* pool = nullptr;
    EventLoop::Timer trustDeadline;
  };

  // The connections of one certificates handler (or of none) and one state of the trusted certificates.
  struct Pool {
    std::weak_ptr<QLCPMCertificatesHandler> handler;
    // Tells objects apart that share an owner; never used to reach the handler.
    const QLCPMCertificatesHandler* handlerAddress = nullptr;
    TrustedCertificates certificates;  // null: plain HTTP
    Clock::time_point made;            // before all decisions of the handler in it
    std::unique_ptr<ConnectionPool> connections;
    EventLoop::Timer idleDeadline;
  };

  void transferFinished(Transfer& transfer, CURLcode code) override;
  void transferWaitsForTrust(Transfer& transfer) override;

  // None unless the URL is a complete http or https URL.
  const std::optional<Endpoint>& endpointOf(const std::string& url);
  void start(std::unique_ptr<Transfer> transfer);
  void startQueued();
  void runWhenPrepared(Exchange& exchange);
  ConnectionPool& poolFor(const Exchange& exchange);
  void closeWhenIdle(const ConnectionPool& connections);
  void judge(Id id, TrustDecision decision);
  void continueHandshake(Id id, bool trusted);
  void finish(Exchange& exchange, HttpOutcome outcome);
  void fail(Exchange& exchange, const char* reason);
  void deliver(Transfer& transfer, HttpOutcome outcome);
  void checkProgress();
  void scheduleProgressCheck(std::chrono::milliseconds interval);
  Exchange* find(Id id);

  EventLoop& loop_;
  const NativeHttpEnvironment environment_;
  const HttpSessionOptions options_;
  Resolver resolver_;
  // Of the last request; most go to the same URL, which need not be parsed again.
  std::string lastUrl_;
  std::optional<Endpoint> lastEndpoint_;
  TrustStore trustStore_;
  EasyHandles easyHandles_;
  std::vector<std::unique_ptr<Pool>> pools_;
  std::unordered_map<Id, Exchange> exchanges_;
  std::unordered_map<const Transfer*, Id> ids_;
  std::deque<std::unique_ptr<Transfer>> queue_;
  std::vector<Task> deliveries_;
  Id lastId_ = 0;
  EventLoop::Timer progressCheck_;
  bool stopping_ = false;
};

}  // namespace qlczephra::platform
