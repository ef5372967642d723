#include "sim/sim_network.h"

#include <algorithm>
#include <utility>

namespace qlczephra::sim {

using platform::HttpOutcome;
using service::Drop;
using service::ServiceReply;
using std::chrono::milliseconds;

namespace {

std::string trafficKey(std::string_view method, std::string_view url) {
  return std::string(method).append(" ").append(url);
}

// Path and query of a URL.
std::string targetOf(const std::string& url) {
  const std::size_t authority = url.find("://") + 3;
  const std::size_t path = url.find('/', authority);
  return path == std::string::npos ? "/" : url.substr(path);
}

HttpOutcome broken(const char* why) {
  HttpOutcome outcome;
  outcome.failure = why;
  return outcome;
}

}  // namespace

void SimNetwork::send(platform::HttpRequest request, platform::HttpCompletion completion) {
  if (stopped_) return;
  Traffic& traffic = traffic_[trafficKey(request.method, request.url)];
  traffic.most = std::max(traffic.most, ++traffic.now);
  history_.note("network", "sends " + request.method + " " + request.url);

  Transfer transfer{{request.method, targetOf(request.url), request.headers, request.body.value_or("")},
                    request.url,
                    request.longestWait,
                    std::move(completion)};
  sent_.push_back({std::move(request), clocks_.elapsed()});
  if (!service_ || random_.chance(conditions.requestLost)) {
    deliver(std::move(transfer), broken("the connection was lost"), latency());
    return;
  }
  const std::uint64_t id = nextId_++;
  onTheWay_.emplace(id, std::move(transfer));
  scheduler_.runAfter("network", latency(), [this, id] { arrive(id); });
}

void SimNetwork::arrive(std::uint64_t id) {
  Transfer transfer = std::move(onTheWay_.extract(id).mapped());
  ServiceReply reply = service_(transfer.request);
  history_.note("service", "answers " + transfer.request.method + " with " + std::to_string(reply.status));
  milliseconds wait = latency() + reply.delay;
  HttpOutcome outcome = outcomeOf(std::move(reply), transfer.longestWait, wait);
  deliver(std::move(transfer), std::move(outcome), wait);
}

HttpOutcome SimNetwork::outcomeOf(ServiceReply reply, milliseconds longestWait, milliseconds& wait) {
  if (wait > longestWait || random_.chance(conditions.replyTooLate)) {
    wait = longestWait;
    return broken("the request timed out");
  }
  if (reply.drop == Drop::beforeHeaders || random_.chance(conditions.replyLost))
    return broken("the connection was lost");
  HttpOutcome outcome;
  outcome.head = platform::HttpReplyHead{reply.status, std::move(reply.headers)};
  if (reply.drop != Drop::never || random_.chance(conditions.replyBroken)) {
    outcome.failure = "the connection was lost after the head";
  } else if (reply.body.size() > platform::maximumBodySize) {
    outcome.failure = "the body is too large";
  } else {
    outcome.body = std::move(reply.body);
  }
  return outcome;
}

void SimNetwork::deliver(Transfer transfer, HttpOutcome outcome, milliseconds after) {
  scheduler_.runAfter(replyLane, after, [this, transfer = std::move(transfer), outcome = std::move(outcome)]() mutable {
    --traffic_[trafficKey(transfer.request.method, transfer.url)].now;
    transfer.completion(std::move(outcome));
  });
}

milliseconds SimNetwork::latency() {
  return random_.between(conditions.shortestLatency, conditions.longestLatency);
}

std::size_t SimNetwork::inFlight(std::string_view method, std::string_view url) const {
  const auto found = traffic_.find(trafficKey(method, url));
  return found == traffic_.end() ? 0 : found->second.now;
}

std::size_t SimNetwork::mostInFlight(std::string_view method, std::string_view url) const {
  const auto found = traffic_.find(trafficKey(method, url));
  return found == traffic_.end() ? 0 : found->second.most;
}

void SimNetwork::stop() {
  if (std::exchange(stopped_, true)) return;
  for (auto& [id, transfer] : std::exchange(onTheWay_, {})) {
    if (random_.chance(0.5)) static_cast<void>(service_(transfer.request));
  }
}

}  // namespace qlczephra::sim
