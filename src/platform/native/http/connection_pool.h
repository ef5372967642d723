// The connections and TLS sessions that may be shared, and the transfers that run on them.
#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "platform/native/http/kept_sockets.h"
#include "platform/native/http/transfer.h"
#include "platform/native/threads/event_loop.h"

namespace qlczephra::platform {

class TransferObserver {
 public:
  // The pool has let the transfer go; it may be destroyed.
  virtual void transferFinished(Transfer& transfer, CURLcode code) = 0;
  // The transfer's handshake waits for a verdict: see `ConnectionPool::resume`.
  virtual void transferWaitsForTrust(Transfer& transfer) = 0;

 protected:
  ~TransferObserver() = default;
};

// Belongs to the network thread. Up to 32 connections are kept for later transfers.
class ConnectionPool {
 public:
  ConnectionPool(EventLoop& loop, TransferObserver& observer);
  // No transfer may be left. Closes all connections without waiting.
  ~ConnectionPool();
  ConnectionPool(const ConnectionPool&) = delete;
  ConnectionPool& operator=(const ConnectionPool&) = delete;

  // Starts a prepared transfer; the observer is told later, never from within. False: curl took it not.
  bool add(Transfer& transfer);
  // Ends the transfer without telling the observer. Not for one whose handshake waits for a verdict.
  void remove(Transfer& transfer);
  // Goes on with a transfer whose gate was given its verdict. The observer may be told of this and of others from
  // within.
  void resume(Transfer& transfer);
  // Makes a note of a transfer that waits for a verdict; to be called from its gate.
  void noteWaitingForTrust(Transfer& transfer) { waitingForTrust_.push_back(&transfer); }

  [[nodiscard]] std::size_t transfers() const { return transfers_; }
  KeptSockets& keptSockets() { return keptSockets_; }

 private:
  struct MultiDeleter {
    void operator()(CURLM* multi) const noexcept { curl_multi_cleanup(multi); }
  };
  struct ShareDeleter {
    void operator()(CURLSH* share) const noexcept { curl_share_cleanup(share); }
  };

  static int onSocket(CURL* easy, curl_socket_t socket, int what, void* self, void* socketData);
  static int onTimer(CURLM* multi, long milliseconds, void* self);

  void watch(curl_socket_t socket, int what, Transfer& transfer);
  void unwatch(curl_socket_t socket);
  void drive(curl_socket_t socket, int events);

  EventLoop& loop_;
  TransferObserver& observer_;
  KeptSockets keptSockets_;                      // of the connections, which go with `multi_`
  std::unique_ptr<CURLSH, ShareDeleter> share_;  // for the TLS sessions
  std::unique_ptr<CURLM, MultiDeleter> multi_;
  std::unordered_map<int, Transfer*> sockets_;  // those that curl waits for
  std::vector<Transfer*> waitingForTrust_;      // noted since the last time curl was driven
  EventLoop::Timer timer_;
  std::size_t transfers_ = 0;
};

}  // namespace qlczephra::platform
