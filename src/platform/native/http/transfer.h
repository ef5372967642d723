// One request and its reply, as curl carries them out.
#pragma once

#include <curl/curl.h>
#include <openssl/ssl.h>

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "platform/http_session.h"
#include "platform/native/http/certificate_verification.h"
#include "platform/native/http/easy_handles.h"
#include "platform/native/http/endpoint.h"
#include "platform/native/http/kept_sockets.h"
#include "platform/native/http/reply_reader.h"
#include "platform/native/http/stall_detector.h"
#include "platform/native/http/trust_decision.h"
#include "platform/queue.h"

namespace qlczephra::platform {

class ConnectionPool;

// Belongs to the network thread. It does not move: curl keeps its address. A connection pool drives it
// and must have let it go before it is destroyed.
class Transfer {
 public:
  // On the sender's thread. Throws std::bad_alloc, and leaves the arguments as they are then.
  Transfer(HttpRequest&& request, Endpoint endpoint, HttpCompletion&& completion);
  ~Transfer();
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  [[nodiscard]] const Endpoint& endpoint() const { return endpoint_; }
  [[nodiscard]] const HttpRequest& request() const { return request_; }
  StallDetector& progress() { return progress_; }
  TrustGate& gate() { return gate_; }

  // Takes an easy handle and sets it up. `addresses` are the server's, empty for a numeric host; `trusted` is null for
  // plain HTTP. `onWaitingForTrust`: see TrustGate. False when the request cannot be sent or memory ran out.
  // `sockets` are those of the pool that the transfer is for.
  bool prepare(EasyHandles& handles, KeptSockets& sockets, const std::vector<std::string>& addresses,
               TrustedCertificates trusted, std::function<void()> onWaitingForTrust);
  // Null before `prepare`.
  [[nodiscard]] CURL* easy() const { return easy_.get(); }
  // Of a handle in one of curl's callbacks.
  static Transfer& of(CURL* easy);

  // After `code`: whether a kept connection turned out to be dead before anything of a reply came, or was not silent
  // when it was to be used again. The handle is set up to be added to its pool once more then, for a connection of its
  // own; true only once. curl does so itself for a dead one unless it finds out in the middle of a large body.
  bool retryOnFreshConnection(CURLcode code);

  // The sockets that curl waits for on behalf of this transfer.
  std::vector<int>& sockets() { return sockets_; }

  // What has come, and for a failed transfer why it failed.
  HttpOutcome outcome(CURLcode code);
  HttpOutcome stalled();
  HttpOutcome overdue();

  // Returns the one task that calls the completion with the outcome. It holds the host's objects, whose destructors are
  // host code: it is to be run or destroyed on a worker. Needs no memory.
  std::list<Task> takeDelivery(HttpOutcome outcome = {}) noexcept;

  std::uint64_t id = 0;  // given by the engine

 private:
  struct ListDeleter {
    void operator()(curl_slist* list) const noexcept;
  };
  using List = std::unique_ptr<curl_slist, ListDeleter>;

  static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self);
  static int onDebug(CURL* easy, curl_infotype type, char* data, std::size_t size, void*);
  static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self);
  static curl_socket_t onOpenSocket(void* self, curlsocktype, curl_sockaddr* address);
  static int onConnected(void* self, char* address, char* localAddress, int port, int localPort);
  static int onProgress(void* self, curl_off_t total, curl_off_t now, curl_off_t, curl_off_t);
  static CURLcode onTlsContext(CURL* easy, void* context, void* self);

  void setTarget(const std::vector<std::string>& addresses);
  void setMessage();
  void setLimits();
  void setTls();
  template <typename T>
  void set(CURLoption option, T value);

  HttpRequest request_;
  const Endpoint endpoint_;
  struct Delivery {
    HttpCompletion completion;
    std::shared_ptr<QLCPMCertificatesHandler> handler;
    HttpOutcome outcome;
  };
  std::shared_ptr<Delivery> delivery_ = std::make_shared<Delivery>();
  std::list<Task> deliveryTask_;
  StallDetector progress_;
  std::function<void()> onWaitingForTrust_;
  TrustGate gate_;
  ReplyReader reply_;
  TrustedCertificates trusted_;
  std::vector<int> sockets_;
  List fields_;
  List resolved_;
  bool optionsAccepted_ = true;
  bool retried_ = false;
  KeptSockets* keptSockets_ = nullptr;
  std::vector<int> openedSockets_;
  std::uint64_t receivedBefore_ = 0;  // on the kept connection, by other transfers
  const char* aborted_ = nullptr;     // why, by onProgress()
  bool isNotSilent_ = false;          // the kept connection that the transfer was to use
  bool repliedEarly_ = false;         // a reply began before the request was sent whole
  char errorText_[CURL_ERROR_SIZE] = {};
  // Last: it refers to what stands above.
  EasyHandles::Handle easy_;
};

// Returns the outcome of a transfer that failed; without a text where there is no memory for one.
HttpOutcome failedOutcome(const char* reason) noexcept;

}  // namespace qlczephra::platform
