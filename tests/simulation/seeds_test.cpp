// Stories of all seeds, and that a seed tells one story.
#include <gtest/gtest.h>

#include <cstdio>
#include <unordered_set>

#include "tests/simulation/seeds.h"
#include "tests/simulation/story.h"

namespace qlczephra::test {
namespace {

TEST(Simulation, NoChangeIsLostWhateverHappens) {
  if (const auto seed = onlySeed()) {
    const StoryOutcome outcome = tellStory(*seed);
    std::printf("%s", outcome.history.c_str());
    ASSERT_EQ(outcome.violation.value_or("none"), "none");
    return;
  }
  std::unordered_set<std::size_t> histories;
  std::set<std::string> crashPoints;
  std::uint64_t changes = 0;
  std::uint64_t processes = 0;
  for (std::uint64_t seed = 0; seed < seedCount(); ++seed) {
    const StoryOutcome outcome = tellStory(seed);
    ASSERT_EQ(outcome.violation.value_or("none"), "none") << "seed " << seed << "; replay it with --seed=" << seed;
    histories.insert(std::hash<std::string>()(outcome.history));
    crashPoints.insert(outcome.crashPoints.begin(), outcome.crashPoints.end());
    changes += outcome.changes;
    processes += outcome.processes;
  }
  std::printf("%zu different histories, %llu changes, %llu processes, ended at %zu kinds of disk calls\n",
              histories.size(), static_cast<unsigned long long>(changes), static_cast<unsigned long long>(processes),
              crashPoints.size());
  EXPECT_GE(histories.size() * 100, seedCount() * 99) << "seeds tell stories of their own";
}

TEST(Simulation, ASeedTellsOneStory) {
  for (std::uint64_t seed = 0; seed < 50; ++seed) EXPECT_EQ(tellStory(seed).history, tellStory(seed).history) << seed;
}

}  // namespace
}  // namespace qlczephra::test
