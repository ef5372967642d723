// An HTTP session whose other end is a function: the stand-in service, or what a test scripts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/http_session.h"
#include "service/exchange.h"
#include "sim/network_conditions.h"
#include "sim/scheduler.h"

namespace qlczephra::sim {

class SimNetwork : public platform::HttpSession {
 public:
  using Service = std::function<service::ServiceReply(const service::ServiceRequest&)>;
  struct Sent {
    platform::HttpRequest request;
    std::chrono::milliseconds at;  // Clocks::elapsed()
  };

  // The label of the lanes on which completions run.
  static constexpr const char* replyLane = "reply";

  // All outlive the object.
  SimNetwork(Scheduler& scheduler, Random& random, const Clocks& clocks, History& history)
      : scheduler_(scheduler), random_(random), clocks_(clocks), history_(history) {}

  void send(platform::HttpRequest request, platform::HttpCompletion completion) override;

  // Who answers; every request is lost while nobody does. The delay and the drop of a reply are carried out here.
  void connectTo(Service service) { service_ = std::move(service); }
  NetworkConditions conditions;

  // Every request that was sent, in order.
  [[nodiscard]] const std::vector<Sent>& sent() const noexcept { return sent_; }
  // Requests of this method and URL from send() until the outcome is handed over: now, and the most at any time.
  [[nodiscard]] std::size_t inFlight(std::string_view method, std::string_view url) const;
  [[nodiscard]] std::size_t mostInFlight(std::string_view method, std::string_view url) const;

  // The process ends: of the requests that are on their way some still reach the service, nobody hears the replies, and
  // nothing is sent any more.
  void stop();

  [[nodiscard]] const Service& service() const noexcept { return service_; }

 private:
  struct Traffic {
    std::size_t now = 0;
    std::size_t most = 0;
  };
  struct Transfer {
    service::ServiceRequest request;
    std::string url;
    std::chrono::milliseconds longestWait;
    platform::HttpCompletion completion;
  };

  void arrive(std::uint64_t id);
  [[nodiscard]] platform::HttpOutcome outcomeOf(service::ServiceReply reply, std::chrono::milliseconds longestWait,
                                                std::chrono::milliseconds& wait);
  void deliver(Transfer transfer, platform::HttpOutcome outcome, std::chrono::milliseconds after);
  [[nodiscard]] std::chrono::milliseconds latency();

  Scheduler& scheduler_;
  Random& random_;
  const Clocks& clocks_;
  History& history_;
  Service service_;
  std::vector<Sent> sent_;
  std::map<std::string, Traffic> traffic_;      // by method and URL
  std::map<std::uint64_t, Transfer> onTheWay_;  // to the service
  std::uint64_t nextId_ = 0;
  bool stopped_ = false;
};

}  // namespace qlczephra::sim
