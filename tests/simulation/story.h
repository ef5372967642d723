// One scenario, all of which a seed decides: a host, its service, its network and its disk have a bad day.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>

namespace qlczephra::test {

struct StoryOutcome {
  std::optional<std::string> violation;  // the first invariant that did not hold
  std::string history;
  std::set<std::string> crashPoints;  // see Stage
  std::uint64_t changes = 0;
  std::uint64_t processes = 1;
};

// `prepare` gets a writer for the host's use, which the story calls not by itself: another thread's change of some
// setting.
[[nodiscard]] StoryOutcome tellStory(std::uint64_t seed,
                                     const std::function<void(std::function<void()> otherWriter)>& prepare = {});

}  // namespace qlczephra::test
