// What each status of a reply does: log, retry state, delay, end or repetition of the call.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/manager_world.h"

namespace qlczephra::test {
namespace {

using std::chrono::hours;
using std::chrono::seconds;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::uint32_t longest = ~0U;

// The delay in the only line that announces a repetition.
std::int64_t announcedDelay(const ManagerWorld& world) {
  const auto lines = world.logWith("error Will retry getting settings in ");
  EXPECT_THAT(lines, SizeIs(1));
  return lines.empty() ? -1 : std::stoll(lines[0].substr(std::string("error Will retry getting settings in ").size()));
}

// Brings a new manager's retry state to attempt 6.
void failFiveTimes(ManagerWorld& world) {
  world.whenServiceAnswers({400, 400, 400, 400, 400});
  for (int i = 0; i < 5; ++i) EXPECT_EQ(world.fetched(), "badRequest");
}

TEST(StatusHandling, StatusesThatEndTheCall) {
  enum class After { reset, kept, advanced };
  struct Case {
    Answer answer;
    const char* result;
    After retry;
    const char* line = nullptr;  // of the manager's log, besides the status and the end of the fetch
  };
  const Case cases[] = {
      {200, "success", After::reset},
      {299, "success", After::reset},
      {304, "success", After::reset},
      {400, "badRequest", After::advanced, "error Bad request, fetching new settings before retrying"},
      {401, "unauthorized", After::reset, "error CCR token is invalid or expired"},
      {403, "forbidden", After::reset},
      {404, "notFound", After::kept},
      {412, "badRequest", After::reset, "error Wrong etag, will fetch new settings before retrying"},
      {422, "unprocessableEntity", After::reset},
      {100, "unexpectedResponse", After::reset, "error Unexpected response: 100"},
      {199, "unexpectedResponse", After::reset, "error Unexpected response: 199"},
      {300, "unexpectedResponse", After::reset, "error Unexpected response: 300"},
      {302, "unexpectedResponse", After::reset, "error Unexpected response: 302"},
      {399, "unexpectedResponse", After::reset, "error Unexpected response: 399"},
      {600, "unexpectedResponse", After::reset, "error Unexpected response: 600"},
      {Answer::brokenAfter(200), "success", After::reset},
      {Answer::brokenAfter(401), "unauthorized", After::reset, "error CCR token is invalid or expired"},
      {Answer::brokenAfter(404), "notFound", After::kept},
  };
  for (const Case& c : cases) {
    const int status = c.answer.reply.status;
    SCOPED_TRACE(status);
    ManagerWorld world;
    world.givenJitter(longest);
    failFiveTimes(world);
    world.forgetLog();
    world.whenServiceAnswers({c.answer});
    Call& call = world.fetch();
    world.runUntilIdle();
    EXPECT_EQ(call.result(), c.result);
    EXPECT_EQ(call.completions, 1);
    EXPECT_EQ(call.lane, sim::SimNetwork::replyLane);

    std::vector<std::string> expected = {"info Will fetch new zephra settings",
                                         "info Sending get settings request to zephra",
                                         "info Zephra responded with status " + std::to_string(status)};
    if (c.line != nullptr) expected.push_back(c.line);
    expected.push_back(call.error == nullptr
                           ? "info Zephra settings successfully fetched"
                           : "error Failed to fetch zephra settings with error: " + call.error->text());
    std::vector<std::string> managersLines;
    for (const std::string& line : world.log()) {
      if (!line.starts_with("process ") && !line.starts_with("default ")) managersLines.push_back(line);
    }
    EXPECT_THAT(managersLines, ElementsAreArray(expected));
    const bool failed = status < 200 || status > 299;
    const std::string processLine =
        c.answer.reply.drop != service::Drop::never
            ? "process QLMNetworkRequest: Error the connection was lost after the head Transaction unknown"
            : "process QLMNetworkRequest: Status " + std::to_string(status) + " Transaction unknown";
    const bool expectsLine = failed || c.answer.reply.drop != service::Drop::never;
    EXPECT_EQ(world.logWith("process "), expectsLine ? std::vector{processLine} : std::vector<std::string>{});

    // The longest delay of the next failure shows the attempt that the state had come to.
    world.forgetLog();
    world.whenServiceAnswers({503});
    world.fetched();
    EXPECT_EQ(announcedDelay(world), c.retry == After::reset ? 0 : c.retry == After::kept ? 6 : 12);
  }
}

TEST(StatusHandling, StatusesThatAreRepeated) {
  const Answer cases[] = {
      402,
      405,
      406,
      411,
      413,
      421,
      423,
      424,
      428,
      451,
      499,
      500,
      501,
      502,
      503,
      599,
      Answer::lost(),
      Answer::brokenAfter(302),
      Answer::brokenAfter(503),
      Answer(200).delayed(seconds(11)),
  };
  for (const Answer& answer : cases) {
    SCOPED_TRACE(answer.reply.status);
    ManagerWorld world;
    world.givenJitter(longest);
    failFiveTimes(world);
    world.forgetLog();
    world.whenServiceAnswers({answer, 200});
    Call& call = world.fetch();
    world.runUntilIdle();
    EXPECT_EQ(call.result(), "success");
    EXPECT_EQ(call.completions, 1);
    EXPECT_EQ(announcedDelay(world), 6);
    EXPECT_THAT(world.logWith("error Firing retry now"), SizeIs(1));
    EXPECT_THAT(world.logWith("Zephra responded with status"), SizeIs(2));
    EXPECT_THAT(world.logWith("Unexpected response:"), IsEmpty());
  }
  ManagerWorld world;
  world.whenServiceAnswers({Answer::lost()});
  world.fetched();
  EXPECT_THAT(world.logWith("process "),
              ElementsAre("process QLMNetworkRequest: Error the connection was lost Unexpected response type."));
  EXPECT_THAT(world.log(), Contains("info Zephra responded with status 0"));
}

// Full jitter up to 0.1 s * 2^attempt, two hours at most, in whole seconds.
TEST(StatusHandling, DelaysGrowAndAreWaitedOut) {
  const std::vector<std::int64_t> caps = {0,   0,   0,   1,    3,    6,    12,   25,   51,  102,
                                          204, 409, 819, 1638, 3276, 6553, 7200, 7200, 7200};
  ManagerWorld world;
  world.givenJitter(longest);
  world.whenServiceAnswers(std::vector<Answer>(caps.size(), 503));
  EXPECT_EQ(world.fetched(), "success");
  std::vector<std::int64_t> waits;
  std::vector<std::string> lines;
  const auto& sent = world.requests();
  for (std::size_t i = 0; i + 1 < sent.size(); ++i) {
    waits.push_back(std::chrono::floor<seconds>(sent[i + 1].at - sent[i].at).count());
    lines.push_back("error Will retry getting settings in " + std::to_string(caps[i]) + " seconds");
  }
  EXPECT_EQ(waits, caps);
  EXPECT_EQ(world.logWith("Will retry"), lines);

  ManagerWorld lucky;
  lucky.givenJitter(0);
  lucky.whenServiceAnswers(std::vector<Answer>(50, 503));
  EXPECT_EQ(lucky.fetched(), "success");
  EXPECT_LT(lucky.world.clocks().elapsed(), seconds(1));
}

TEST(StatusHandling, The51stAttemptIsTheLast) {
  ManagerWorld world;
  world.givenJitter(0);
  world.whenServiceAlwaysAnswers(503);
  EXPECT_EQ(world.fetched(), "unexpectedResponse");
  EXPECT_THAT(world.requests(), SizeIs(51));
  EXPECT_THAT(world.logWith("error Unexpected response: 503"), SizeIs(1));
  world.whenServiceAnswers({503, 200});
  EXPECT_EQ(world.fetched(), "success") << "the state was reset";

  // A 400 advances the attempt and resets nothing, also where no retry is allowed any more.
  for (const int failures : {48, 49, 50, 55}) {
    ManagerWorld other;
    other.givenJitter(0);
    other.whenServiceAlwaysAnswers(400);
    for (int i = 0; i < failures; ++i) EXPECT_EQ(other.fetched(), "badRequest");
    other.whenServiceAnswers({503, 200});
    EXPECT_EQ(other.fetched(), failures < 50 ? "success" : "unexpectedResponse") << failures;
  }
}

TEST(StatusHandling, TooManyRequestsWaitsTwoHoursForever) {
  ManagerWorld world;
  world.whenServiceAnswers(std::vector<Answer>(100, 429));
  Call& call = world.fetch();
  world.advance(hours(1));
  EXPECT_EQ(call.result(), "open");
  EXPECT_EQ(announcedDelay(world), 7200);
  world.world.moveWallClock(hours(24 * 365 * 10));
  world.advance(seconds(1));
  world.world.moveWallClock(-hours(24 * 365 * 20));
  world.advance(seconds(3589));
  EXPECT_THAT(world.requests(), SizeIs(1)) << "the wait is one on the monotonic clock";
  world.runUntilIdle();
  EXPECT_EQ(call.result(), "success");
  EXPECT_THAT(world.requests(), SizeIs(101)) << "a 429 does not count as an attempt";
  EXPECT_EQ(world.requestTimes().back(), 100 * 7200);
}

}  // namespace
}  // namespace qlczephra::test
