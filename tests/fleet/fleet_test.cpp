// What the retry policy of many clients does to their service, in the stories of docs/fleet.md with a small fleet.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "benchmarks/fleet/chance.h"
#include "benchmarks/fleet/simulation.h"
#include "qlczephra/retry.h"
#include "tests/support/manager_world.h"

namespace qlczephra::fleet {

bool operator==(const Second& one, const Second& other) {
  return one.requests == other.requests && one.refused == other.refused && one.recovered == other.recovered;
}

namespace {

constexpr std::uint32_t clients = 2000;
constexpr std::int64_t longestBackOff = static_cast<std::int64_t>(QLCRetry::MAX_BACKOFF_TIME);

Report played(const Story& story, Policy policy) {
  return simulate({story, policy}, clients, 1);
}

// Most of the fleet's clients that come in one second, in percent.
double peakAfterTrouble(const Story& story, const Report& report) {
  return 100.0 * report.peak(story.troubleEnds, story.length) / clients;
}

// Seconds from the end of the trouble until all have recovered; more than the story is long if they never have.
std::uint32_t recoveryTime(const Story& story, const Report& report) {
  return report.recoveredBy(1).value_or(2 * story.length) - story.troubleEnds;
}

std::uint32_t recoveredBetween(const Report& report, std::uint32_t begin, std::uint32_t end) {
  std::uint32_t sum = 0;
  for (std::uint32_t second = begin; second < end; ++second) sum += report.seconds[second].recovered;
  return sum;
}

TEST(Fleet, AClientWaitsAsAManagerDoes) {
  const std::vector<int> statuses = {503, 500, 0, 502, 503, 429, 503, 503, 0, 429, 503, 504, 503, 503, 0, 503};
  Chance managersChance(7);
  test::ManagerWorld world;
  world.world.setSecureRandom([&] { return managersChance.secureRandom(); });
  std::vector<test::Answer> answers;
  for (const int status : statuses) answers.push_back(status == 0 ? test::Answer::lost() : test::Answer(status));
  world.whenServiceAnswers(answers);
  ASSERT_EQ(world.fetched(), "success");

  Chance clientsChance(7);
  Client client(clientsChance);
  std::vector<std::string> expected;
  for (const int status : statuses) {
    const Step step = client.hear(status, Policy::library);
    EXPECT_EQ(step.kind, Step::Kind::repeats);
    expected.push_back("error Will retry getting settings in " + std::to_string(step.wait) + " seconds");
  }
  EXPECT_EQ(world.logWith("Will retry"), expected);
  EXPECT_EQ(client.hear(304, Policy::library).kind, Step::Kind::succeeded);
  EXPECT_EQ(client.hear(503, Policy::library).wait, 0) << "the success has reset the state";
}

TEST(Fleet, OnlyTheSeedDecides) {
  EXPECT_EQ(played(restart(503), Policy::library).seconds, played(restart(503), Policy::library).seconds);
  EXPECT_NE(played(restart(503), Policy::library).seconds,
            simulate({restart(503), Policy::library}, clients, 2).seconds);
}

TEST(Fleet, TheServiceTakesWhatItCanAndEveryRequestIsCounted) {
  for (const Story& story : {outage(503), tightLimit(429), smallRestart(503)}) {
    SCOPED_TRACE(story.name);
    const Report report = played(story, Policy::library);
    for (std::uint32_t second = 0; second < story.length; ++second) {
      const bool inTrouble = second >= story.troubleBegins && second < story.troubleEnds;
      const double capacity = (inTrouble ? story.troubleCapacity : story.capacity) * clients / 100'000;
      const Second& row = report.seconds[second];
      EXPECT_LT(row.requests - row.refused, capacity + 1) << second;
    }
    EXPECT_EQ(report.requests(), report.refused() + report.wholeDocuments + report.notModified);
    EXPECT_GT(report.refused(), 0U);
  }
}

TEST(Fleet, AfterAnOutageAllComeBackAndNotAtOnce) {
  constexpr double mostAtOnce = 1.5;  // percent of the fleet in a second
  const Story story = outage(503);
  const Report report = played(story, Policy::library);
  EXPECT_LE(report.longestWait, longestBackOff);
  EXPECT_LE(recoveryTime(story, report), longestBackOff);
  EXPECT_LT(peakAfterTrouble(story, report), mostAtOnce);
  EXPECT_EQ(report.gaveUp, 0U);
  EXPECT_EQ(report.wholeDocuments, 0U) << "the tag outlives the outage";
  EXPECT_GT(peakAfterTrouble(story, played(story, Policy::fixedDelay)), mostAtOnce);

  EXPECT_EQ(played(outage(0), Policy::library).seconds, report.seconds) << "no reply counts as a 503";
}

TEST(Fleet, ASmallServiceComesThroughARestartOnlyWithJitter) {
  // More than elsewhere: the capacity is to be many requests in each second.
  constexpr std::uint32_t many = 20'000;
  const Story story = smallRestart(503);
  const Report jittered = simulate({story, Policy::library}, many, 1);
  EXPECT_LE(recoveryTime(story, jittered), 4 * 3600U);
  EXPECT_LT(jittered.refused(), 20 * many);
  EXPECT_EQ(jittered.wholeDocuments, many);
  EXPECT_FALSE(simulate({story, Policy::unjittered}, many, 1).recoveredBy(0.5)) << "in twelve hours";
  EXPECT_GT(simulate({story, Policy::fixedDelay}, many, 1).refused(), 80 * many);
}

// The wait after a 429 is the same for everybody: those who were refused together come back together.
TEST(Fleet, A429SendsTheWaveBackTwoHoursLater) {
  const Story story = restart(429);
  const Report report = played(story, Policy::library);
  EXPECT_EQ(report.longestWait, longestBackOff);
  EXPECT_GT(recoveredBetween(report, 0, 11), 0U);
  EXPECT_EQ(recoveredBetween(report, 11, 7200), 0U);
  EXPECT_GT(recoveredBetween(report, 7200, 7212), 0U);
  EXPECT_GT(report.peak(7200, 7212), 10 * report.peak(11, 7200));
  EXPECT_LT(recoveryTime(restart(503), played(restart(503), Policy::library)), 900U);
}

TEST(Fleet, AHostThatSpreadsItsFirstFetchIsNeverRefused) {
  for (const int refusal : {429, 503}) {
    const Report report = played(restart(refusal, 600), Policy::library);
    EXPECT_EQ(report.refused(), 0U) << refusal;
    EXPECT_EQ(report.wholeDocuments, clients);
  }
}

}  // namespace
}  // namespace qlczephra::fleet
