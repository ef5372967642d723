#include "platform/native/http/curl_http_session.h"

#include <openssl/crypto.h>

#include <iterator>
#include <new>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

namespace qlczephra::platform {
namespace {

// A request on its way to the network.
struct Submission {
  HttpRequest request;
  HttpCompletion completion;
};

struct CurlInUse {
  CurlInUse() { curl_global_init(CURL_GLOBAL_DEFAULT); }
  ~CurlInUse() { curl_global_cleanup(); }
  CurlInUse(const CurlInUse&) = delete;
  CurlInUse& operator=(const CurlInUse&) = delete;
};

}  // namespace

// What a worker drives. Posted tasks hold it, and may come after the session has gone.
class CurlHttpSession::Network : public std::enable_shared_from_this<Network> {
 public:
  // Throws std::system_error when descriptors are short.
  Network(NativeHttpEnvironment environment, HttpSessionOptions options,
          std::shared_ptr<std::atomic<std::uint64_t>> trustStoreLoads)
      : environment_(std::move(environment)),
        options_(std::move(options)),
        trustStoreLoads_(std::move(trustStoreLoads)),
        loop_([itself = itself_] {
          if (const auto network = itself->lock()) network->summonDriver();
        }) {}

  static std::shared_ptr<Network> make(const NativeHttpEnvironment& environment, const HttpSessionOptions& options,
                                       const std::shared_ptr<std::atomic<std::uint64_t>>& trustStoreLoads) {
    auto network = std::make_shared<Network>(environment, options, trustStoreLoads);
    *network->itself_ = network;
    return network;
  }

  void submit(std::shared_ptr<Submission> submission) {
    loop_.mailbox()->post([this, submission = std::move(submission)] {
      engine_->submit(std::move(submission->request), std::move(submission->completion));
    });
  }

  // Nobody may submit any more.
  void stop() QLCZ_EXCLUDES(mutex_) {
    {
      const MutexLock lock(mutex_);
      stopped_ = true;
      loop_.stop();
      while (drivers_ != 0) changed_.wait(mutex_);
    }
    engine_.reset();
    // What is left holds objects of the host, whose destructors are host code.
    auto dropped = loop_.mailbox()->close();
    if (!dropped.empty()) environment_.post([dropped = std::move(dropped)] {});
  }

 private:
  void summonDriver() {
    environment_.postFirst([self = shared_from_this()] { self->drive(); });
  }

  // No exception may leave it: nobody else would drive then.
  void drive() noexcept QLCZ_EXCLUDES(mutex_) {
    // Lest the workers count on this one.
    if (!environment_.hostCodeBegins()) return;
    std::vector<Task> deliveries;
    const bool drives = driverBegins();
    if (drives) {
      if (!engine_) {  // the first one; libcurl takes its time to begin
        curl_.emplace();
        engine_.emplace(loop_, environment_, options_, trustStoreLoads_);
      }
      const bool left = loop_.run([&] {
        std::vector<Task> more = engine_->takeDeliveries();
        std::move(more.begin(), more.end(), std::back_inserter(deliveries));
        if (engine_->idle()) {
          wakeForTimers();
          return true;
        }
        for (Task& delivery : deliveries) environment_.post(std::move(delivery));
        deliveries.clear();
        return false;
      });
      if (!left) {
        // Here and not where the session stops: a handshake that waits for a verdict must end on the thread that it
        // began on.
        std::vector<Task> more = engine_->takeDeliveries();
        std::move(more.begin(), more.end(), std::back_inserter(deliveries));
        engine_.reset();
        // What they hold is the host's, and goes where host code may.
        environment_.post([dropped = std::exchange(deliveries, {})] {});
      }
    }
    environment_.hostCodeEnds();
    if (drives) driverEnds();
    // This thread is the one that will run the first of them.
    for (Task& delivery : deliveries) environment_.postLast(std::move(delivery));
  }

  bool driverBegins() QLCZ_EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    if (stopped_) return false;
    ++drivers_;
    return true;
  }

  void driverEnds() QLCZ_EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    --drivers_;
    changed_.notifyAll();
  }

  // For the driver that is about to leave: connections are closed in time although nobody drives.
  void wakeForTimers() {
    const auto next = loop_.nextTimer();
    if (!next || (wakesAt_ && *wakesAt_ <= *next)) return;
    wakesAt_ = next;
    environment_.postAfter(*next - EventLoop::Clock::now(), [weak = weak_from_this()] {
      const auto self = weak.lock();
      if (self == nullptr) return;
      self->loop_.mailbox()->post([raw = self.get()] { raw->wakesAt_.reset(); });
    });
  }

  const NativeHttpEnvironment environment_;
  const HttpSessionOptions options_;
  const std::shared_ptr<std::atomic<std::uint64_t>> trustStoreLoads_;
  // Stragglers post to the mailbox when this object may have gone.
  const std::shared_ptr<std::weak_ptr<Network>> itself_ = std::make_shared<std::weak_ptr<Network>>();
  EventLoop loop_;
  // Belong to the driver.
  std::optional<CurlInUse> curl_;
  std::optional<HttpEngine> engine_;
  std::optional<EventLoop::Clock::time_point> wakesAt_;

  Mutex mutex_;
  CondVar changed_;
  bool stopped_ QLCZ_GUARDED_BY(mutex_) = false;
  int drivers_ QLCZ_GUARDED_BY(mutex_) = 0;  // the one that leaves may overlap with the next
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
  auto submission = std::make_shared<Submission>(Submission{std::move(request), std::move(completion)});
  std::shared_ptr<Network> network;
  {
    const MutexLock lock(mutex_);
    if (stopped_) return;
    network = startedNetwork();
  }
  if (network == nullptr) {
    environment_.post([submission] {
      submission->completion({std::nullopt, {}, "The network cannot be used: descriptors or memory are short"});
    });
    return;
  }
  network->submit(std::move(submission));
}

std::shared_ptr<CurlHttpSession::Network> CurlHttpSession::startedNetwork() {
  if (network_) return network_;
  try {
    network_ = Network::make(environment_, options_, trustStoreLoads_);
  } catch (const std::system_error&) {
    return nullptr;
  }
  return network_;
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
