#include "platform/native/http/curl_http_session.h"

#include <openssl/crypto.h>
#include <pthread.h>

#include <cerrno>
#include <exception>
#include <list>
#include <new>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/native/threads/blocked_signals.h"

namespace qlczephra::platform {
namespace {

struct CurlInUse {
  CurlInUse() { curl_global_init(CURL_GLOBAL_DEFAULT); }
  ~CurlInUse() { curl_global_cleanup(); }
  CurlInUse(const CurlInUse&) = delete;
  CurlInUse& operator=(const CurlInUse&) = delete;
};

}  // namespace

// The network thread and what belongs to it.
class CurlHttpSession::Network {
 public:
  // Throws std::system_error when descriptors are short or there is no thread to be had.
  Network(const NativeHttpEnvironment& environment, const HttpSessionOptions& options,
          std::shared_ptr<std::atomic<std::uint64_t>> trustStoreLoads)
      : environment_(environment), engine_(std::in_place, loop_, environment, options, std::move(trustStoreLoads)) {
    const BlockedSignals blocked;
    thread_ = std::thread([this] {
      pthread_setname_np(pthread_self(), "qlczephra-net");
      loop_.run();
      // Here: a handshake that waits for a verdict must end on the thread that it began on.
      engine_.reset();
    });
  }

  // Throws std::bad_alloc, and leaves the transfer where it is then.
  void submit(std::unique_ptr<Transfer>& transfer) {
    auto transfers = std::make_shared<std::list<std::unique_ptr<Transfer>>>(1);
    std::list<Task> task;
    task.emplace_back([this, transfers] { engine_->submit(*transfers); });
    transfers->front() = std::move(transfer);
    loop_.queue()->post(task);
  }

  // Nobody may submit any more.
  void stop() {
    loop_.stop();
    thread_.join();
    // What is left holds objects of the host, whose destructors are host code.
    auto dropped = loop_.queue()->close();
    if (dropped.empty()) return;
    try {
      environment_.post([dropped = std::make_shared<std::list<Task>>(std::move(dropped))] {});
    } catch (const std::exception&) {  // no worker or no memory: they go here
    }
  }

 private:
  const NativeHttpEnvironment environment_;
  const CurlInUse curl_;
  EventLoop loop_;
  std::optional<HttpEngine> engine_;
  std::thread thread_;
};

CurlHttpSession::CurlHttpSession(NativeHttpEnvironment environment, HttpSessionOptions options)
    : environment_(std::move(environment)), options_(std::move(options)) {
  // OpenSSL's clean-up at exit must not come before that of the object that owns this session: what is registered
  // later runs earlier. The option is there because a call without any returns at once and registers nothing.
  OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr);
}

CurlHttpSession::~CurlHttpSession() {
  stop();
}

void CurlHttpSession::send(HttpRequest request, HttpCompletion completion) {
  const std::optional<Endpoint> endpoint = parseEndpoint(request.url);
  auto transfer = std::make_unique<Transfer>(std::move(request), endpoint.value_or(Endpoint{}), std::move(completion));
  if (!endpoint) {
    fail(*transfer, "The request's URL is no complete http or https URL");
    return;
  }
  std::shared_ptr<Network> network;
  {
    const MutexLock lock(mutex_);
    if (stopped_) return;
    try {
      if (!network_) network_ = std::make_shared<Network>(environment_, options_, trustStoreLoads_);
      network = network_;
    } catch (const std::exception&) {  // tried again with the next request
    }
  }
  try {
    if (network != nullptr) network->submit(transfer);
  } catch (const std::bad_alloc&) {
  }
  if (transfer != nullptr) fail(*transfer, "The network cannot be used: threads, descriptors or memory are short");
}

void CurlHttpSession::fail(Transfer& transfer, const char* reason) {
  std::list<Task> delivery = transfer.takeDelivery(failedOutcome(reason));
  if (!environment_.tryPost(delivery)) throw std::system_error(EAGAIN, std::generic_category(), "no worker thread");
}

void CurlHttpSession::stop() {
  std::shared_ptr<Network> network;
  {
    const MutexLock lock(mutex_);
    stopped_ = true;
    network = std::move(network_);
  }
  if (network) network->stop();
}

}  // namespace qlczephra::platform
