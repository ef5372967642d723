// Takes requests through their stages: waiting for a place, name and trusted certificates, transfer, verdict on the
// server, outcome.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <list>
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

// Belongs to the network thread. Where memory is short, the transfer that needed it fails; its completion needs none.
class HttpEngine final : private TransferObserver {
 public:
  HttpEngine(EventLoop& loop, NativeHttpEnvironment environment, HttpSessionOptions options,
             std::shared_ptr<std::atomic<std::uint64_t>> trustStoreLoads);
  // Drops all requests and closes all connections, waiting for nothing.
  ~HttpEngine();
  HttpEngine(const HttpEngine&) = delete;
  HttpEngine& operator=(const HttpEngine&) = delete;

  // Takes the transfers into its queue.
  void submit(std::list<std::unique_ptr<Transfer>>& transfers) noexcept;

 private:
  using Clock = EventLoop::Clock;
  using Id = std::uint64_t;

  enum class Stage : std::uint8_t { preparing, running, waitingForTrust };

  struct Exchange {
    std::unique_ptr<Transfer> transfer;
    Stage stage = Stage::preparing;
    bool certificatesKnown = false;
    bool addressesKnown = false;
    TrustedCertificates certificates;
    std::vector<std::string> addresses;
    ConnectionPool* pool = nullptr;
    Clock::time_point trustDeadline;
  };

  // The connections of one certificates handler (or of none) and one state of the trusted certificates.
  struct Pool {
    std::weak_ptr<QLCPMCertificatesHandler> handler;
    // Tells objects apart that share an owner; never used to reach the handler.
    const QLCPMCertificatesHandler* handlerAddress = nullptr;
    TrustedCertificates certificates;  // null: plain HTTP
    Clock::time_point made;            // before all decisions of the handler in it
    std::unique_ptr<ConnectionPool> connections;
    std::optional<EventLoop::Timer> idleDeadline;
  };

  void transferFinished(Transfer& transfer, CURLcode code) override;
  void transferWaitsForTrust(Transfer& transfer) override;

  void startQueued() noexcept;
  void start(Exchange& exchange);
  // Runs one step of the exchange, if it is there. It fails when the step throws, for want of memory.
  template <typename Step>
  void runStep(Id id, const Step& step) noexcept;
  void runWhenPrepared(Exchange& exchange);
  ConnectionPool& poolFor(const Exchange& exchange);
  void closeWhenIdle(const ConnectionPool& connections);
  void judge(Id id, TrustDecision decision);
  void continueHandshake(Id id, bool trusted);
  void finish(Exchange& exchange, HttpOutcome outcome) noexcept;
  void deliver(Transfer& transfer, HttpOutcome outcome) noexcept;
  void checkProgress();
  void scheduleProgressCheck(std::chrono::milliseconds interval) noexcept;
  Exchange* find(Id id);

  EventLoop& loop_;
  const NativeHttpEnvironment environment_;
  const HttpSessionOptions options_;
  Resolver resolver_;
  TrustStore trustStore_;
  EasyHandles easyHandles_;
  std::vector<std::unique_ptr<Pool>> pools_;
  std::unordered_map<Id, Exchange> exchanges_;
  std::list<std::unique_ptr<Transfer>> queue_;
  std::list<Task> deliveries_;  // completions for which no worker could be had yet
  Id lastId_ = 0;
  EventLoop::Timer progressCheck_;
  bool starting_ = false;
  bool stopping_ = false;
};

}  // namespace qlczephra::platform
