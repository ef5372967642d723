// What happens to a service and its fleet.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "benchmarks/fleet/client.h"

namespace qlczephra::fleet {

// Hosts fetch once in this time, each at a moment of its own; a fetch that is still open then stands for the next one.
inline constexpr std::uint32_t period = 3600;  // seconds

// Times in seconds since the story began, capacities in requests per second for every 100,000 clients.
struct Story {
  std::string name;
  std::uint32_t length = 0;
  // Meanwhile the capacity is another one.
  std::uint32_t troubleBegins = 0;
  std::uint32_t troubleEnds = 0;
  double troubleCapacity = 0;
  double capacity = 2000;
  int refusal = 503;  // what the service answers above its capacity; 0: nothing
  // All clients start within this time and fetch at once; 0: they have been running for long, and have the document.
  std::uint32_t startsWithin = 0;
};

// An hour in which the service answers nobody.
[[nodiscard]] Story outage(int refusal);
// An hour in which the service takes a tenth of the usual requests.
[[nodiscard]] Story tightLimit(int refusal);
// All start at once, against a service that is much larger than its usual load.
[[nodiscard]] Story restart(int refusal, std::uint32_t startsWithin = 10);
// The same against a service of twice its usual load.
[[nodiscard]] Story smallRestart(int refusal);

struct Run {
  Story story;
  Policy policy;
  [[nodiscard]] std::string name() const;
};

// All that is measured.
[[nodiscard]] std::vector<Run> allRuns();

}  // namespace qlczephra::fleet
