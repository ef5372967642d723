#include "benchmarks/fleet/story.h"

namespace qlczephra::fleet {

namespace {

constexpr std::uint32_t hour = 3600;
constexpr double usualLoad = 100'000.0 / period;

std::string nameOf(Policy policy) {
  switch (policy) {
    case Policy::library:
      return "library";
    case Policy::fixedDelay:
      return "fixed";
    case Policy::unjittered:
      return "unjittered";
  }
  return {};
}

}  // namespace

Story outage(int refusal) {
  Story story;
  story.name = "outage";
  story.length = 6 * hour;
  story.troubleBegins = hour / 2;
  story.troubleEnds = story.troubleBegins + hour;
  story.refusal = refusal;
  return story;
}

Story tightLimit(int refusal) {
  Story story = outage(refusal);
  story.name = "limit";
  story.troubleCapacity = usualLoad / 10;
  return story;
}

Story restart(int refusal, std::uint32_t startsWithin) {
  Story story;
  story.name = startsWithin == 10 ? "restart" : "restart-" + std::to_string(startsWithin) + "s";
  story.length = 12 * hour;
  story.refusal = refusal;
  story.startsWithin = startsWithin;
  return story;
}

Story smallRestart(int refusal) {
  Story story = restart(refusal);
  story.name = "small";
  story.capacity = 2 * usualLoad;
  return story;
}

std::string Run::name() const {
  return story.name + "-" + std::to_string(story.refusal) + "-" + nameOf(policy);
}

std::vector<Run> allRuns() {
  std::vector<Run> runs;
  for (const Policy policy : {Policy::library, Policy::fixedDelay, Policy::unjittered}) {
    runs.push_back({outage(503), policy});
    runs.push_back({tightLimit(429), policy});
    runs.push_back({restart(503), policy});
    runs.push_back({smallRestart(503), policy});
  }
  runs.push_back({tightLimit(503), Policy::library});
  runs.push_back({restart(429), Policy::library});
  runs.push_back({smallRestart(429), Policy::library});
  for (const int refusal : {503, 429}) {
    for (const std::uint32_t startsWithin : {60U, 600U, 3600U}) {
      runs.push_back({restart(refusal, startsWithin), Policy::library});
    }
  }
  return runs;
}

}  // namespace qlczephra::fleet
