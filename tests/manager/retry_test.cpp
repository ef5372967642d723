// QLCRetry on its own, as a host uses it.
#include "qlczephra/retry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "sim/world.h"

namespace qlczephra::test {
namespace {

using std::chrono::hours;
using std::chrono::seconds;

constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t greatest = std::numeric_limits<std::int64_t>::max();

TEST(Retry, DelayIsAShareOfACapThatDoublesWithTheAttempt) {
  struct Case {
    std::int64_t attempt;
    std::int64_t longest;  // for the greatest random value
  };
  const Case cases[] = {
      {1, 0},
      {2, 0},
      {3, 0},
      {4, 1},
      {5, 3},
      {6, 6},
      {8, 25},
      {10, 102},
      {12, 409},
      {14, 1638},
      {16, 6553},
      {17, 7200},
      {18, 7200},
      {64, 7200},
      {1023, 7200},
      {1024, 7200},
      {5000, 7200},
      {1 << 30, 7200},
      {0, 0},
      {-1, 0},
      {-5000, 0},
      {least, 0},
      {greatest - 1, 7200},
  };
  sim::World world(1);
  std::uint32_t random = 0;
  world.setSecureRandom([&] { return random; });
  QLCRetry retry(world);
  const auto delayOf = [&](std::int64_t attempt, std::uint32_t drawn) {
    random = drawn;
    retry.setRetryAttempt(attempt);
    retry.updateRetryTime();
    return retry.retryTime();
  };
  for (const auto& [attempt, longest] : cases) {
    SCOPED_TRACE(attempt);
    EXPECT_EQ(delayOf(attempt, std::numeric_limits<std::uint32_t>::max()), longest);
    EXPECT_EQ(retry.retryAttempt(), attempt + 1);
    EXPECT_EQ(delayOf(attempt, 0), 0);
    EXPECT_EQ(delayOf(attempt, 1U << 31), longest / 2) << "half the range, half the cap";
  }
  EXPECT_EQ(delayOf(20, std::numeric_limits<std::uint32_t>::max() - 1), 7199) << "only the greatest reaches the cap";
  delayOf(greatest, 0);
  EXPECT_EQ(retry.retryAttempt(), greatest) << "stays instead of overflowing";
}

TEST(Retry, DecidesByAttemptStatusAndError) {
  constexpr auto network = QLMError::networkError;
  constexpr auto noParams = QLMError::noParams;
  struct Case {
    std::int64_t attempt;
    bool userAction;
    int status;
    std::optional<QLMError> error;
    bool retries;
  };
  const Case cases[] = {
      {1, false, 500, {}, true},         {1, false, 599, {}, true},      {1, false, 600, {}, false},
      {1, false, 499, {}, true},         {1, false, 400, {}, true},      {1, false, 404, {}, true},
      {1, false, 429, {}, true},         {1, false, 399, {}, false},     {1, false, 302, {}, false},
      {1, false, 200, {}, false},        {1, false, 0, {}, false},       {1, false, -500, {}, false},
      {1, false, 0, network, true},      {1, false, 0, noParams, false}, {1, false, 302, network, true},
      {1, false, 503, noParams, true},   {49, false, 503, {}, true},     {50, false, 503, {}, true},
      {51, false, 503, {}, false},       {51, false, 0, network, false}, {51, false, 429, {}, false},
      {greatest, false, 503, {}, false}, {least, false, 503, {}, true},  {3, true, 503, {}, true},
      {4, true, 503, {}, false},         {3, true, 429, {}, true},       {4, true, 429, {}, false},
      {3, true, 404, {}, false},         {3, true, 404, network, true},  {3, true, 0, network, true},
      {4, true, 0, network, false},
  };
  sim::World world(1);
  for (const Case& c : cases) {
    QLCRetry retry(world);
    retry.setRetryAttempt(c.attempt);
    retry.setRetryTime(77);
    retry.setUserAction(c.userAction);
    EXPECT_EQ(retry.shouldRetry(c.status, c.error), c.retries) << c.attempt << " " << c.userAction << " " << c.status;
    EXPECT_EQ(retry.retryAttempt(), c.attempt);
    EXPECT_EQ(retry.retryTime(), 77);
  }
}

struct HostRetry : QLCRetry {
  using QLCRetry::QLCRetry;
  std::uint32_t random() override { return 1U << 31; }
};

TEST(Retry, DerivedClassReplacesRandomAndNamesItself) {
  sim::World world(1);
  HostRetry retry(world);
  EXPECT_EQ(retry.description(), "<HostRetry: 1/0>");
  retry.setRetryAttempt(17);
  retry.updateRetryTime();
  EXPECT_EQ(retry.retryTime(), 3600);
  EXPECT_EQ(retry.description(), "<HostRetry: 18/3600>");
  retry.setRetryAttempt(-3);
  retry.setRetryTime(-4);
  EXPECT_EQ(retry.description(), "<HostRetry: -3/-4>");
  EXPECT_EQ(QLCRetry(world).description(), "<QLCRetry: 1/0>");
}

TEST(Retry, FixedDelaysKeepTheAttemptAndAResetKeepsTheAction) {
  sim::World world(1);
  QLCRetry retry(world);
  retry.setRetryAttempt(9);
  retry.setUserAction(true);
  int runs = 0;
  retry.setRetryBlock([&] { ++runs; });
  retry.updateRetryTimeToMax();
  EXPECT_EQ(retry.description(), "<QLCRetry: 9/7200>");
  world.runUntilIdle();
  EXPECT_EQ(runs, 0) << "schedules nothing";
  retry.updateRetryTimeFor404();
  EXPECT_EQ(retry.description(), "<QLCRetry: 9/2592000>");
  retry.resetRetryStats();
  EXPECT_EQ(retry.description(), "<QLCRetry: 1/0>");
  EXPECT_TRUE(retry.userAction());
  EXPECT_TRUE(retry.retryBlock());
  world.advance(hours(24 * 30) - seconds(1));
  EXPECT_EQ(runs, 0);
  world.advance(seconds(1));
  EXPECT_EQ(runs, 1);
}

TEST(Retry, EveryCallSchedulesOneRunOfTheActionOfThatMoment) {
  sim::World world(1);
  world.setSecureRandom([] { return ~0U; });
  std::string runs;
  {
    QLCRetry retry(world);
    retry.updateRetryTime();  // without an action
    retry.setRetryAttempt(5);
    retry.setRetryBlock([&] { runs += "a"; });
    retry.updateRetryTime();  // 3 seconds
    retry.setRetryBlock([&] { runs += "b"; });
    retry.updateRetryTime();  // 6 seconds
    retry.setRetryTime(100);
    retry.retryAfterRetryTime();
    retry.setRetryBlock(nullptr);
    retry.updateRetryTime();
    retry.setRetryTime(-5);
    retry.setRetryBlock([&] {
      runs += "now";
      throw std::runtime_error("host");
    });
    retry.retryAfterRetryTime();
    retry.setRetryTime(greatest);  // beyond every clock: far away, not in the past
    retry.retryAfterRetryTime();
  }
  EXPECT_EQ(runs, "") << "never on the caller's stack";
  const std::pair<int, const char*> expected[] = {{0, "now"},    {2, "now"},    {1, "nowa"},       {3, "nowab"},
                                                  {93, "nowab"}, {1, "nowabb"}, {100000, "nowabb"}};
  for (const auto& [wait, text] : expected) {
    world.advance(seconds(wait));
    EXPECT_EQ(runs, text) << world.clocks().elapsed().count();
  }
  EXPECT_EQ(world.logged().records().size(), 1U) << "the exception";
}

TEST(Retry, ActionWaitsForTheWallClock) {
  sim::World world(1);
  int runs = 0;
  QLCRetry retry(world);
  retry.setRetryBlock([&] { ++runs; });
  retry.setRetryTime(7200);
  retry.retryAfterRetryTime();
  world.moveWallClock(-hours(1));
  world.advance(hours(2));
  EXPECT_EQ(runs, 0) << "the clock was put back by an hour";
  world.moveWallClock(hours(1));
  world.advance(seconds(0));
  EXPECT_EQ(runs, 1);
  // By years: forwards ends the wait, backwards prolongs it by as much.
  const hours years(24 * 365 * 10);
  retry.retryAfterRetryTime();
  world.moveWallClock(years);
  world.advance(seconds(60));
  EXPECT_EQ(runs, 2);
  retry.retryAfterRetryTime();
  world.moveWallClock(-years);
  world.advance(hours(3));
  EXPECT_EQ(runs, 2);
  world.moveWallClock(years);
  world.advance(seconds(60));
  EXPECT_EQ(runs, 3);
}

}  // namespace
}  // namespace qlczephra::test
