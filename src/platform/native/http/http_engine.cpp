#include "platform/native/http/http_engine.h"

#include <sys/resource.h>

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

namespace qlczephra::platform {
namespace {

// Of the longest wait: what the host may take to judge a server, so that its decision and not the wait ends it.
constexpr double trustShare = 0.95;

// When completions for which there was no worker are posted again.
constexpr std::chrono::milliseconds deliveryRetry{500};

std::size_t quarterOfDescriptors() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return 256;
  return std::clamp<std::size_t>(limit.rlim_cur / 4, 16, 4096);
}

HttpSessionOptions withDefaults(HttpSessionOptions options) {
  if (options.transfersAtOnce == 0) options.transfersAtOnce = quarterOfDescriptors();
  if (options.trustBundle.empty()) {
    const char* const system = curl_version_info(CURLVERSION_NOW)->cainfo;
    options.trustBundle = system != nullptr ? system : "/etc/ssl/certs/ca-certificates.crt";
  }
  return options;
}

HttpOutcome outcomeOf(Transfer& transfer, CURLcode code) noexcept {
  try {
    return transfer.outcome(code);
  } catch (const std::bad_alloc&) {
    return failedOutcome("Memory is short");
  }
}

HttpOutcome timedOut(Transfer& transfer, StallDetector::TimePoint now) noexcept {
  try {
    return transfer.progress().isOverdue(now) ? transfer.overdue() : transfer.stalled();
  } catch (const std::bad_alloc&) {
    return failedOutcome("Memory is short");
  }
}

}  // namespace

HttpEngine::HttpEngine(EventLoop& loop, NativeHttpEnvironment environment, HttpSessionOptions options,
                       std::shared_ptr<std::atomic<std::uint64_t>> trustStoreLoads)
    : loop_(loop),
      environment_(std::move(environment)),
      options_(withDefaults(std::move(options))),
      resolver_(options_.lookUp, loop.queue()),
      trustStore_(options_.trustBundle, environment_.post, loop.queue(), std::move(trustStoreLoads)),
      progressCheck_(loop, [this] { checkProgress(); }) {}

HttpEngine::~HttpEngine() {
  stopping_ = true;
  // Handshakes that wait for a verdict must run to their end, which is at once; see TrustGate.
  for (bool driven = true; driven;) {
    driven = false;
    for (auto& [id, exchange] : exchanges_) {
      if (exchange.stage != Stage::waitingForTrust) continue;
      exchange.stage = Stage::running;
      exchange.transfer->gate().decide(false);
      exchange.pool->resume(*exchange.transfer);
      driven = true;  // may have brought another one to its gate
    }
  }
  for (auto& [id, exchange] : exchanges_) {
    if (exchange.stage == Stage::running) exchange.pool->remove(*exchange.transfer);
    deliveries_.splice(deliveries_.end(), exchange.transfer->takeDelivery());
  }
  for (const auto& transfer : queue_) deliveries_.splice(deliveries_.end(), transfer->takeDelivery());
  exchanges_.clear();
  pools_.clear();
  if (deliveries_.empty()) return;
  try {
    environment_.post([dropped = std::make_shared<std::list<Task>>(std::move(deliveries_))] {});
  } catch (const std::exception&) {  // no worker or no memory: they go here
  }
}

void HttpEngine::submit(std::list<std::unique_ptr<Transfer>>& transfers) noexcept {
  queue_.splice(queue_.end(), transfers);
  startQueued();
}

void HttpEngine::startQueued() noexcept {
  // A transfer that fails at once leads here again: the loop goes on instead, lest the stack grow with the queue.
  if (std::exchange(starting_, true)) return;
  while (!queue_.empty() && exchanges_.size() < options_.transfersAtOnce) {
    auto transfer = std::move(queue_.front());
    queue_.pop_front();
    try {
      const Id id = transfer->id = ++lastId_;
      exchanges_[id].transfer = std::move(transfer);
      runStep(id, [this](Exchange& exchange) { start(exchange); });
    } catch (const std::bad_alloc&) {
      deliver(*transfer, failedOutcome("Memory is short"));
    }
  }
  starting_ = false;
}

template <typename Step>
void HttpEngine::runStep(Id id, const Step& step) noexcept {
  Exchange* const exchange = find(id);
  if (exchange == nullptr) return;
  try {
    step(*exchange);
  } catch (const std::exception&) {
    if (Exchange* const left = find(id)) finish(*left, failedOutcome("Memory is short"));
  }
}

void HttpEngine::start(Exchange& exchange) {
  const Id id = exchange.transfer->id;
  exchange.transfer->progress().begin(Clock::now());
  scheduleProgressCheck(exchange.transfer->progress().interval());

  const Endpoint endpoint = exchange.transfer->endpoint();
  exchange.certificatesKnown = !endpoint.secure;
  exchange.addressesKnown = endpoint.numeric;
  if (endpoint.numeric && !endpoint.secure) {
    runWhenPrepared(exchange);
    return;
  }
  // Either may call back at once, and end the exchange.
  if (endpoint.secure) {
    trustStore_.whenCurrent([this, id](const TrustedCertificates& certificates) {
      runStep(id, [&](Exchange& waiting) {
        waiting.certificatesKnown = true;
        waiting.certificates = certificates;
        runWhenPrepared(waiting);
      });
    });
  }
  if (endpoint.numeric) return;
  resolver_.resolve(endpoint.host, endpoint.port, [this, id](const LookUpResult& result) {
    runStep(id, [&](Exchange& waiting) {
      waiting.addressesKnown = true;
      waiting.addresses = result.addresses;
      if (result.addresses.empty()) {
        finish(waiting, failedOutcome(result.failure.c_str()));
      } else {
        runWhenPrepared(waiting);
      }
    });
  });
}

void HttpEngine::runWhenPrepared(Exchange& exchange) {
  if (exchange.stage != Stage::preparing || !exchange.certificatesKnown || !exchange.addressesKnown) return;
  ConnectionPool& pool = poolFor(exchange);
  exchange.pool = &pool;
  Transfer& transfer = *exchange.transfer;
  if (!transfer.prepare(easyHandles_, pool.keptSockets(), exchange.addresses, exchange.certificates,
                        [&pool, &transfer] { pool.noteWaitingForTrust(transfer); }) ||
      !pool.add(transfer)) {
    finish(exchange, failedOutcome("The request cannot be sent"));
    return;
  }
  exchange.stage = Stage::running;
  transfer.progress().note(Clock::now());
}

ConnectionPool& HttpEngine::poolFor(const Exchange& exchange) {
  const auto& handler = exchange.transfer->request().certificatesHandler;
  for (const auto& pool : pools_) {
    const bool sameOwner = !pool->handler.owner_before(handler) && !handler.owner_before(pool->handler);
    if (!sameOwner || pool->handlerAddress != handler.get() || pool->certificates != exchange.certificates) continue;
    if (handler != nullptr && Clock::now() - pool->made >= options_.decisionLifetime) continue;
    pool->idleDeadline->cancel();
    return *pool->connections;
  }
  auto pool = std::make_unique<Pool>();
  pool->handler = handler;
  pool->handlerAddress = handler.get();
  pool->certificates = exchange.certificates;
  pool->made = Clock::now();
  TransferObserver& observer = *this;
  pool->connections = std::make_unique<ConnectionPool>(loop_, observer);
  pool->idleDeadline.emplace(loop_, [this, gone = pool.get()] {
    std::erase_if(pools_, [gone](const auto& candidate) { return candidate.get() == gone; });
    if (pools_.empty()) easyHandles_.clear();
  });
  pools_.push_back(std::move(pool));
  return *pools_.back()->connections;
}

void HttpEngine::closeWhenIdle(const ConnectionPool& connections) {
  const auto found = std::ranges::find(pools_, &connections, [](const auto& pool) { return pool->connections.get(); });
  if (connections.transfers() == 0) (*found)->idleDeadline->set(Clock::now() + options_.idleTime);
}

void HttpEngine::transferFinished(Transfer& transfer, CURLcode code) {
  Exchange* const exchange = find(transfer.id);
  if (stopping_) {
    exchange->stage = Stage::preparing;  // out of its pool; the destructor drops the rest
    return;
  }
  if (transfer.retryOnFreshConnection(code) && exchange->pool->add(transfer)) {
    transfer.progress().note(Clock::now());
    return;
  }
  finish(*exchange, outcomeOf(transfer, code));
}

void HttpEngine::transferWaitsForTrust(Transfer& transfer) {
  Exchange& exchange = *find(transfer.id);
  exchange.stage = Stage::waitingForTrust;
  if (stopping_) return;
  const Id id = transfer.id;
  const auto patience = std::chrono::duration_cast<Clock::duration>(transfer.request().longestWait * trustShare);
  exchange.trustDeadline = Clock::now() + patience;
  try {
    askHandler(environment_, loop_.queue(), transfer.request().certificatesHandler, transfer.endpoint().host,
               transfer.endpoint().port, transfer.gate().chain(),
               [this, id](TrustDecision decision) { judge(id, decision); });
  } catch (const std::exception&) {  // no memory or no worker
    exchange.trustDeadline = Clock::now();
  }
}

void HttpEngine::judge(Id id, TrustDecision decision) {
  Exchange* const exchange = find(id);
  if (exchange == nullptr || exchange->stage != Stage::waitingForTrust) return;
  if (decision != TrustDecision::performDefaultHandling) {
    continueHandshake(id, decision == TrustDecision::trust);
    return;
  }
  const TrustGate& gate = exchange->transfer->gate();
  environment_.post([this, id, loopQueue = loop_.queue(), certificates = exchange->certificates, chain = gate.chain(),
                     host = exchange->transfer->endpoint().host, level = gate.securityLevel()] {
    const bool good = verifyServer(certificates, chain, host, level);
    loopQueue->post([this, id, good] { continueHandshake(id, good); });
  });
}

void HttpEngine::continueHandshake(Id id, bool trusted) {
  Exchange* const exchange = find(id);
  if (exchange == nullptr || exchange->stage != Stage::waitingForTrust) return;
  exchange->stage = Stage::running;
  exchange->transfer->progress().note(Clock::now());
  exchange->transfer->gate().decide(trusted);
  exchange->pool->resume(*exchange->transfer);
}

void HttpEngine::finish(Exchange& exchange, HttpOutcome outcome) noexcept {
  const Exchange ended = std::move(exchange);
  exchanges_.erase(ended.transfer->id);
  deliver(*ended.transfer, std::move(outcome));
  if (ended.pool != nullptr) closeWhenIdle(*ended.pool);
  startQueued();
  if (exchanges_.empty() && deliveries_.empty()) progressCheck_.cancel();
}

void HttpEngine::deliver(Transfer& transfer, HttpOutcome outcome) noexcept {
  deliveries_.splice(deliveries_.end(), transfer.takeDelivery(std::move(outcome)));
  if (!environment_.tryPost(deliveries_)) scheduleProgressCheck(deliveryRetry);
}

void HttpEngine::checkProgress() {
  // First, so that it comes again whatever happens here.
  const auto now = Clock::now();
  auto interval = deliveryRetry;
  for (auto& [id, exchange] : exchanges_) interval = std::min(interval, exchange.transfer->progress().interval());
  if (!exchanges_.empty()) scheduleProgressCheck(interval);
  if (!deliveries_.empty() && !environment_.tryPost(deliveries_)) scheduleProgressCheck(deliveryRetry);

  std::vector<Id> ended;
  for (auto& [id, exchange] : exchanges_) {
    Transfer& transfer = *exchange.transfer;
    if (exchange.stage == Stage::waitingForTrust) {  // it has a deadline of its own
      if (exchange.trustDeadline <= now) ended.push_back(id);
      continue;
    }
    transfer.progress().sample(transfer.sockets(), now);
    if (transfer.progress().stalled(now) || transfer.progress().isOverdue(now)) ended.push_back(id);
  }
  for (const Id id : ended) {
    Exchange* const exchange = find(id);
    if (exchange == nullptr) continue;
    if (exchange->stage == Stage::waitingForTrust) {
      continueHandshake(id, false);
      continue;
    }
    if (exchange->stage == Stage::running) exchange->pool->remove(*exchange->transfer);
    finish(*exchange, timedOut(*exchange->transfer, now));
  }
}

void HttpEngine::scheduleProgressCheck(std::chrono::milliseconds interval) noexcept {
  const auto when = Clock::now() + interval;
  if (!progressCheck_.when() || *progressCheck_.when() > when) progressCheck_.set(when);
}

HttpEngine::Exchange* HttpEngine::find(Id id) {
  const auto found = exchanges_.find(id);
  return found == exchanges_.end() ? nullptr : &found->second;
}

}  // namespace qlczephra::platform
