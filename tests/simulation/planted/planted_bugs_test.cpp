// Faults that are planted in a build of the manager of its own: the simulation finds each of them.
#include <gtest/gtest.h>

#include <cstdio>

#include "platform/planted_bug.h"
#include "tests/simulation/seeds.h"
#include "tests/simulation/story.h"

namespace qlczephra::test {
namespace {

StoryOutcome tellWithOtherWriter(std::uint64_t seed) {
  StoryOutcome outcome = tellStory(seed, [](std::function<void()> write) { whileLockIsReleased = std::move(write); });
  whileLockIsReleased = nullptr;
  return outcome;
}

TEST(PlantedBugs, EachIsFound) {
  struct Case {
    PlantedBug bug;
    const char* name;
  };
  const Case cases[] = {
      {PlantedBug::patchRemovedEarly, "the patch file removed before the sending file is complete"},
      {PlantedBug::lockReleased, "the lock released between reading and writing"},
      {PlantedBug::sendingRemovedEarly, "the sending file removed before it is replaced"},
      {PlantedBug::staleReplyApplied, "a stale reply applied over a confirmed change"},
      {PlantedBug::flushMissing, "no flush before a rename"},
      {PlantedBug::namesNotFlushed, "no flush of the directory"},
      {PlantedBug::failedUploadForgotten, "a failed upload taken for a confirmed one"},
      {PlantedBug::secondUpload, "two uploads at once"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    plantedBug = c.bug;
    std::uint64_t seed = 0;
    StoryOutcome outcome = tellWithOtherWriter(seed);
    while (!outcome.violation && ++seed < seedCount()) outcome = tellWithOtherWriter(seed);
    plantedBug = PlantedBug::none;
    ASSERT_TRUE(outcome.violation) << "not found within " << seedCount() << " seeds";
    std::printf("%s: seed %llu, %s\n", c.name, static_cast<unsigned long long>(seed), outcome.violation->c_str());
    EXPECT_EQ(tellWithOtherWriter(seed).violation.value_or("none"), "none") << "without the bug, seed " << seed;
  }
}

}  // namespace
}  // namespace qlczephra::test
