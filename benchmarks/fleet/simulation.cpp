#include "benchmarks/fleet/simulation.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>

#include "benchmarks/fleet/chance.h"
#include "benchmarks/fleet/event_queue.h"
#include "sim/random.h"

namespace qlczephra::fleet {

namespace {

constexpr std::int64_t periodMilliseconds = 1000LL * period;

// Takes so many requests in each second and refuses the others at once.
class Service {
 public:
  Service(const Story& story, std::uint32_t clients) : story_(story), scale_(clients / 100'000.0) {}

  // Whether a request in this second is taken; seconds never decrease.
  bool takes(std::uint32_t second) {
    if (second != second_) {
      second_ = second;
      taken_ = 0;
    }
    return taken_ < allowance() && ++taken_ != 0;
  }

 private:
  // Fractions of a request add up over the seconds.
  [[nodiscard]] std::uint64_t allowance() const {
    const bool inTrouble = second_ >= story_.troubleBegins && second_ < story_.troubleEnds;
    const double capacity = scale_ * (inTrouble ? story_.troubleCapacity : story_.capacity);
    return static_cast<std::uint64_t>(std::floor(capacity * (second_ + 1.0)) - std::floor(capacity * second_));
  }

  const Story& story_;
  const double scale_;
  std::uint32_t second_ = std::numeric_limits<std::uint32_t>::max();
  std::uint64_t taken_ = 0;
};

class Fleet {
 public:
  Fleet(const Run& run, std::uint32_t clients, std::uint64_t seed)
      : run_(run), chance_(seed), surroundings_(seed + 1), service_(run.story, clients), arrivals_(run.story.length) {
    if (run.policy == Policy::unjittered) chance_.fix(std::numeric_limits<std::uint32_t>::max());
    report_.clients = clients;
    report_.seconds.resize(run.story.length);
    for (std::uint32_t client = 0; client < clients; ++client) addClient(client);
  }

  Report play() {
    while (const auto arrival = arrivals_.next()) answer(*arrival);
    return std::move(report_);
  }

 private:
  void addClient(std::uint32_t number) {
    const bool starts = run_.story.startsWithin != 0;
    clients_.emplace_back(chance_).hasDocument = !starts;
    phases_.push_back(static_cast<std::uint32_t>(surroundings_.below(periodMilliseconds)));
    const auto first = starts ? surroundings_.below(1000ULL * run_.story.startsWithin) : phases_.back();
    arrivals_.add(static_cast<std::int64_t>(first), number);
  }

  void answer(const Arrival& arrival) {
    const std::uint32_t now = arrival.at / 1000;
    Second& second = report_.seconds[now];
    Client& client = clients_[arrival.client];
    const bool taken = service_.takes(now);
    ++second.requests;
    if (!taken) ++second.refused;
    const int status = !taken ? run_.story.refusal : client.hasDocument ? 304 : 200;
    const Step step = client.hear(status, run_.policy);
    // There and back.
    const std::int64_t heard = arrival.at + 20 + static_cast<std::int64_t>(surroundings_.below(160));
    if (step.kind == Step::Kind::repeats) {
      report_.longestWait = std::max(report_.longestWait, step.wait);
      arrivals_.add(heard + 1000 * step.wait, arrival.client);
      return;
    }
    if (step.kind == Step::Kind::succeeded) {
      ++(client.hasDocument ? report_.notModified : report_.wholeDocuments);
      client.hasDocument = true;
      if (now >= run_.story.troubleEnds && !client.hasRecovered) {
        client.hasRecovered = true;
        ++second.recovered;
      }
    } else {
      ++report_.gaveUp;
    }
    arrivals_.add(nextFetch(heard, phases_[arrival.client]), arrival.client);
  }

  // The host's timer goes on whatever became of its fetches.
  [[nodiscard]] static std::int64_t nextFetch(std::int64_t now, std::uint32_t phase) {
    return now - (now - phase + periodMilliseconds) % periodMilliseconds + periodMilliseconds;
  }

  const Run& run_;
  Chance chance_;
  sim::Random surroundings_;  // what is not the library's: phases, starts, the network
  Service service_;
  EventQueue arrivals_;
  std::deque<Client> clients_;
  std::vector<std::uint32_t> phases_;  // milliseconds
  Report report_;
};

}  // namespace

Report simulate(const Run& run, std::uint32_t clients, std::uint64_t seed) {
  return Fleet(run, clients, seed).play();
}

}  // namespace qlczephra::fleet
