#include "platform/native/curl_http_session.h"

#include <openssl/crypto.h>
#include <pthread.h>

#include <new>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/native/blocked_signals.h"

namespace qlczephra::platform {
namespace {

// A request on its way to the network thread.
struct Submission {
  HttpRequest request;
  HttpCompletion completion;
};

}  // namespace

struct CurlHttpSession::Network {
  EventLoop loop;
  HttpEngine* engine = nullptr;  // while the thread runs; used by it alone
  std::thread thread;

  void run(const NativeHttpEnvironment& environment, const HttpSessionOptions& options,
           const std::shared_ptr<std::atomic<std::uint64_t>>& trustStoreLoads) {
    pthread_setname_np(pthread_self(), "qlczephra-net");
    curl_global_init(CURL_GLOBAL_DEFAULT);
    std::vector<Task> dropped;
    {
      HttpEngine made(loop, environment, options, trustStoreLoads);
      engine = &made;
      loop.run();
      dropped = loop.mailbox()->close();
    }
    curl_global_cleanup();
    // They hold objects of the host, whose destructors are host code.
    if (!dropped.empty()) environment.post([dropped = std::move(dropped)] {});
  }
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
  const MutexLock lock(mutex_);
  if (stopped_) return;
  Network* const network = startedNetwork();
  if (network == nullptr) {
    environment_.post([submission] {
      submission->completion(
          {std::nullopt, {}, "The network thread cannot be started: descriptors or memory are short"});
    });
    return;
  }
  network->loop.mailbox()->post([network, submission = std::move(submission)] {
    network->engine->submit(std::move(submission->request), std::move(submission->completion));
  });
}

CurlHttpSession::Network* CurlHttpSession::startedNetwork() {
  if (network_) return network_.get();
  try {
    auto network = std::make_unique<Network>();
    const BlockedSignals blocked;
    network->thread = std::thread([this, raw = network.get()] { raw->run(environment_, options_, trustStoreLoads_); });
    network_ = std::move(network);
  } catch (const std::system_error&) {
    return nullptr;
  }
  return network_.get();
}

void CurlHttpSession::stop() {
  std::unique_ptr<Network> network;
  {
    const MutexLock lock(mutex_);
    stopped_ = true;
    network = std::move(network_);
  }
  if (!network) return;
  network->loop.stop();
  network->thread.join();
}

}  // namespace qlczephra::platform
