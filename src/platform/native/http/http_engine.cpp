#include "platform/native/http/http_engine.h"

#include <sys/resource.h>

#include <algorithm>
#include <utility>

namespace qlczephra::platform {
namespace {

// Of the longest wait: what the host may take to judge a server, so that its decision and not the wait ends it.
constexpr double trustShare = 0.95;

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

}  // namespace

HttpEngine::HttpEngine(EventLoop& loop, NativeHttpEnvironment environment, HttpSessionOptions options,
                       std::shared_ptr<std::atomic<std::uint64_t>> trustStoreLoads)
    : loop_(loop),
      environment_(std::move(environment)),
      options_(withDefaults(std::move(options))),
      resolver_(options_.lookUp, loop.mailbox()),
      trustStore_(options_.trustBundle, environment_.post, loop.mailbox(), std::move(trustStoreLoads)) {}

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
  std::vector<Transfer::HostObjects> dropped;
  for (auto& [id, exchange] : exchanges_) {
    if (exchange.stage == Stage::running) exchange.pool->remove(*exchange.transfer);
    dropped.push_back(exchange.transfer->takeHostObjects());
  }
  for (const auto& transfer : queue_) dropped.push_back(transfer->takeHostObjects());
  exchanges_.clear();
  pools_.clear();
  loop_.cancel(progressCheck_);
  if (!dropped.empty()) environment_.post([dropped = std::make_shared<decltype(dropped)>(std::move(dropped))] {});
}

void HttpEngine::submit(HttpRequest request, HttpCompletion completion) {
  const std::optional<Endpoint>& endpoint = endpointOf(request.url);
  const bool known = endpoint.has_value();
  auto transfer = std::make_unique<Transfer>(std::move(request), endpoint.value_or(Endpoint{}), std::move(completion));
  if (!known) {
    deliver(*transfer, {std::nullopt, {}, "The request's URL is no complete http or https URL"});
    return;
  }
  queue_.push_back(std::move(transfer));
  startQueued();
}

const std::optional<Endpoint>& HttpEngine::endpointOf(const std::string& url) {
  if (!lastEndpoint_ || lastUrl_ != url) {
    lastEndpoint_ = parseEndpoint(url);
    lastUrl_ = url;
  }
  return lastEndpoint_;
}

void HttpEngine::startQueued() {
  while (!queue_.empty() && exchanges_.size() < options_.transfersAtOnce) {
    auto transfer = std::move(queue_.front());
    queue_.pop_front();
    start(std::move(transfer));
  }
}

void HttpEngine::start(std::unique_ptr<Transfer> transfer) {
  const Id id = ++lastId_;
  Exchange& exchange = exchanges_[id];
  exchange.id = id;
  exchange.transfer = std::move(transfer);
  ids_[exchange.transfer.get()] = id;
  exchange.transfer->progress().begin(Clock::now());
  scheduleProgressCheck(exchange.transfer->progress().interval());

  const Endpoint endpoint = exchange.transfer->endpoint();
  exchange.certificatesKnown = !endpoint.secure;
  exchange.addressesKnown = endpoint.numeric;
  if (endpoint.secure) {
    trustStore_.whenCurrent([this, id](const TrustedCertificates& certificates) {
      Exchange* const waiting = find(id);
      if (waiting == nullptr) return;
      waiting->certificatesKnown = true;
      waiting->certificates = certificates;
      runWhenPrepared(*waiting);
    });
  }
  if (!endpoint.numeric) {
    resolver_.resolve(endpoint.host, endpoint.port, [this, id](const LookUpResult& result) {
      Exchange* const waiting = find(id);
      if (waiting == nullptr) return;
      waiting->addressesKnown = true;
      waiting->addresses = result.addresses;
      if (result.addresses.empty()) {
        fail(*waiting, result.failure.c_str());
      } else {
        runWhenPrepared(*waiting);
      }
    });
  } else if (!endpoint.secure) {
    runWhenPrepared(exchange);
  }
}

void HttpEngine::runWhenPrepared(Exchange& exchange) {
  if (exchange.stage != Stage::preparing || !exchange.certificatesKnown || !exchange.addressesKnown) return;
  ConnectionPool& pool = poolFor(exchange);
  exchange.pool = &pool;
  Transfer& transfer = *exchange.transfer;
  if (!transfer.prepare(easyHandles_, pool.keptSockets(), exchange.addresses, exchange.certificates,
                        [&pool, &transfer] { pool.noteWaitingForTrust(transfer); }) ||
      !pool.add(transfer)) {
    fail(exchange, "The request cannot be sent");
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
    loop_.cancel(pool->idleDeadline);
    return *pool->connections;
  }
  auto pool = std::make_unique<Pool>();
  pool->handler = handler;
  pool->handlerAddress = handler.get();
  pool->certificates = exchange.certificates;
  pool->made = Clock::now();
  TransferObserver& observer = *this;
  pool->connections = std::make_unique<ConnectionPool>(loop_, observer);
  pools_.push_back(std::move(pool));
  return *pools_.back()->connections;
}

void HttpEngine::closeWhenIdle(const ConnectionPool& connections) {
  const auto found = std::ranges::find(pools_, &connections, [](const auto& pool) { return pool->connections.get(); });
  Pool* const pool = found->get();
  loop_.cancel(pool->idleDeadline);
  if (connections.transfers() != 0) return;
  pool->idleDeadline = loop_.at(Clock::now() + options_.idleTime, [this, pool] {
    std::erase_if(pools_, [pool](const auto& candidate) { return candidate.get() == pool; });
    if (pools_.empty()) easyHandles_.clear();
  });
}

void HttpEngine::transferFinished(Transfer& transfer, CURLcode code) {
  Exchange* const exchange = find(ids_.at(&transfer));
  if (stopping_) {
    exchange->stage = Stage::preparing;  // out of its pool; the destructor drops the rest
    return;
  }
  if (transfer.retryOnFreshConnection(code) && exchange->pool->add(transfer)) {
    transfer.progress().note(Clock::now());
    return;
  }
  finish(*exchange, transfer.outcome(code));
}

void HttpEngine::transferWaitsForTrust(Transfer& transfer) {
  Exchange& exchange = *find(ids_.at(&transfer));
  exchange.stage = Stage::waitingForTrust;
  if (stopping_) return;
  const Id id = exchange.id;
  const auto patience = std::chrono::duration_cast<Clock::duration>(transfer.request().longestWait * trustShare);
  exchange.trustDeadline = loop_.at(Clock::now() + patience, [this, id] { continueHandshake(id, false); });
  askHandler(environment_, loop_.mailbox(), transfer.request().certificatesHandler, transfer.endpoint().host,
             transfer.endpoint().port, transfer.gate().chain(),
             [this, id](TrustDecision decision) { judge(id, decision); });
}

void HttpEngine::judge(Id id, TrustDecision decision) {
  Exchange* const exchange = find(id);
  if (exchange == nullptr || exchange->stage != Stage::waitingForTrust) return;
  if (decision != TrustDecision::performDefaultHandling) {
    continueHandshake(id, decision == TrustDecision::trust);
    return;
  }
  const TrustGate& gate = exchange->transfer->gate();
  environment_.post([this, id, mailbox = loop_.mailbox(), certificates = exchange->certificates, chain = gate.chain(),
                     host = exchange->transfer->endpoint().host, level = gate.securityLevel()] {
    const bool good = verifyServer(certificates, chain, host, level);
    mailbox->post([this, id, good] { continueHandshake(id, good); });
  });
}

void HttpEngine::continueHandshake(Id id, bool trusted) {
  Exchange* const exchange = find(id);
  if (exchange == nullptr || exchange->stage != Stage::waitingForTrust) return;
  loop_.cancel(exchange->trustDeadline);
  exchange->stage = Stage::running;
  exchange->transfer->progress().note(Clock::now());
  exchange->transfer->gate().decide(trusted);
  exchange->pool->resume(*exchange->transfer);
}

void HttpEngine::finish(Exchange& exchange, HttpOutcome outcome) {
  const Exchange ended = std::move(exchange);
  exchanges_.erase(ended.id);
  ids_.erase(ended.transfer.get());
  deliver(*ended.transfer, std::move(outcome));
  if (ended.pool != nullptr) closeWhenIdle(*ended.pool);
  startQueued();
  if (exchanges_.empty()) loop_.cancel(progressCheck_);
}

void HttpEngine::fail(Exchange& exchange, const char* reason) {
  finish(exchange, {std::nullopt, {}, reason});
}

void HttpEngine::deliver(Transfer& transfer, HttpOutcome outcome) {
  struct Delivery {
    Transfer::HostObjects host;
    HttpOutcome outcome;
  };
  auto delivery = std::make_shared<Delivery>(Delivery{transfer.takeHostObjects(), std::move(outcome)});
  deliveries_.emplace_back(
      [delivery = std::move(delivery)] { delivery->host.completion(std::move(delivery->outcome)); });
}

void HttpEngine::checkProgress() {
  const auto now = Clock::now();
  auto interval = std::chrono::milliseconds::max();
  std::vector<Id> ended;
  for (auto& [id, exchange] : exchanges_) {
    Transfer& transfer = *exchange.transfer;
    interval = std::min(interval, transfer.progress().interval());
    if (exchange.stage == Stage::waitingForTrust) continue;  // it has a deadline of its own
    transfer.progress().sample(transfer.sockets(), now);
    if (transfer.progress().stalled(now) || transfer.progress().isOverdue(now)) ended.push_back(id);
  }
  for (const Id id : ended) {
    Exchange* const exchange = find(id);
    if (exchange == nullptr) continue;
    if (exchange->stage == Stage::running) exchange->pool->remove(*exchange->transfer);
    Transfer& transfer = *exchange->transfer;
    finish(*exchange, transfer.progress().isOverdue(now) ? transfer.overdue() : transfer.stalled());
  }
  if (!exchanges_.empty()) scheduleProgressCheck(interval);
}

void HttpEngine::scheduleProgressCheck(std::chrono::milliseconds interval) {
  const auto when = Clock::now() + interval;
  if (progressCheck_.number != 0 && progressCheck_.when <= when) return;
  loop_.cancel(progressCheck_);
  progressCheck_ = loop_.at(when, [this] {
    progressCheck_ = {};
    checkProgress();
  });
}

HttpEngine::Exchange* HttpEngine::find(Id id) {
  const auto found = exchanges_.find(id);
  return found == exchanges_.end() ? nullptr : &found->second;
}

}  // namespace qlczephra::platform
