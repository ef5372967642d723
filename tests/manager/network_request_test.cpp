// QLCNetworkRequest on its own: what goes out for a call, and what comes back for a reply.
#include "qlczephra/network_request.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "sim/world.h"
#include "tests/support/json_literal.h"
#include "tests/support/secret_token.h"

namespace qlczephra::test {
namespace {

using service::Drop;
using service::ServiceReply;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;
using testing::UnorderedElementsAre;

constexpr const char* url = "http://service.test/path";

struct Outcome {
  int completions = 0;
  std::optional<Map> body;
  int status = -1;
  std::optional<std::string> eTag;
  std::optional<QLMError> error;
};

class NetworkRequest : public testing::Test {
 protected:
  NetworkRequest() {
    world.network().connectTo([this](const service::ServiceRequest&) { return reply; });
  }
  RequestCompletion recording() {
    return [this](std::optional<Map> body, int status, std::optional<std::string> eTag, std::optional<QLMError> error) {
      outcome = {outcome.completions + 1, std::move(body), status, std::move(eTag), error};
    };
  }
  // The outcome of a GET that the service answers so.
  Outcome got(ServiceReply scripted) {
    reply = std::move(scripted);
    outcome = {};
    request.request(url, "GET", HeaderMap(), std::nullopt, recording());
    world.runUntilIdle();
    EXPECT_EQ(outcome.completions, 1);
    return outcome;
  }
  std::vector<std::string> processLines() {
    std::vector<std::string> lines;
    for (const auto& record : world.logged().records()) {
      if (record.destination == LogDestination::process) lines.push_back(record.message);
    }
    return lines;
  }

  sim::World world{1};
  QLCNetworkRequest request{world};
  ServiceReply reply;
  Outcome outcome;
};

TEST_F(NetworkRequest, BodyGoesWithPatchOnly) {
  const Map params = mapFromJson(R"({"b": [1, 2.0, true, null], "a": "\u00fc"})");
  struct Case {
    const char* method;
    std::optional<Map> params;
    std::optional<std::string> body;
  };
  const Case cases[] = {
      {"PATCH", params, "{\"a\":\"\xC3\xBC\",\"b\":[1,2.0,true,null]}"},
      {"PATCH", Map(), "{}"},
      {"PATCH", Map{{"a", std::nan("")}}, std::nullopt},
      {"PATCH", Map{{"a", "\xFF"}}, std::nullopt},
      {"patch", params, std::nullopt},
      {"patch", std::nullopt, std::nullopt},
      {"GET", params, std::nullopt},
      {"PUT", params, std::nullopt},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.method);
    outcome = {};
    request.request(url, c.method, HeaderMap(), c.params, recording());
    EXPECT_EQ(outcome.completions, 0) << "never before the call has returned";
    world.runUntilIdle();
    EXPECT_EQ(outcome.completions, 1);
    const platform::HttpRequest& sent = world.network().sent().back().request;
    EXPECT_EQ(sent.method, c.method);
    EXPECT_EQ(sent.url, url);
    EXPECT_EQ(sent.body, c.body);
  }
  EXPECT_THAT(world.network().sent(), SizeIs(std::size(cases)));
}

TEST_F(NetworkRequest, PatchWithoutParametersCompletesAtOnce) {
  request.request(url, "PATCH", HeaderMap{{"a", "\n"}}, std::nullopt, recording());
  EXPECT_EQ(outcome.completions, 1);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.body, std::nullopt);
  EXPECT_EQ(outcome.error, QLMError::noParams);
  world.runUntilIdle();
  EXPECT_EQ(outcome.completions, 1);
  EXPECT_THAT(world.network().sent(), IsEmpty());
  EXPECT_THAT(world.logged().records(), IsEmpty());
}

TEST_F(NetworkRequest, CallersHeadersWinWhateverTheirCase) {
  const auto sentFor = [&](const std::optional<HeaderMap>& headers) {
    request.request(url, "GET", headers, "T", std::nullopt, recording());
    return world.network().sent().back().request.headers;
  };
  EXPECT_THAT(sentFor(std::nullopt),
              UnorderedElementsAre(Pair("Authorization", "Bearer T"), Pair("Content-Type", "application/json")));
  EXPECT_THAT(sentFor(HeaderMap{{"content-type", "text/plain"}, {"X", ""}, {"AUTHORIZATION", "mine"}}),
              UnorderedElementsAre(Pair("content-type", "text/plain"), Pair("X", ""), Pair("AUTHORIZATION", "mine")));
  request.request(url, "GET", HeaderMap{{"A", "b"}}, std::nullopt, recording());
  EXPECT_THAT(world.network().sent().back().request.headers, ElementsAre(Pair("A", "b"))) << "and nothing else";
}

TEST_F(NetworkRequest, NamesTheUserAgentInTheDefaultLog) {
  request.request(url, "GET", HeaderMap{{"user-agent", "U/1"}}, std::nullopt, recording());
  request.request(url, "GET", HeaderMap(), std::nullopt, recording());
  ASSERT_THAT(world.logged().records(), SizeIs(2));
  for (const auto& record : world.logged().records()) {
    EXPECT_EQ(record.destination, LogDestination::platformDefault);
    EXPECT_EQ(record.level, LogLevel::info);
  }
  EXPECT_EQ(world.logged().records()[0].message, "QLCNetworkRequest will use User-Agent: U/1");
  EXPECT_EQ(world.logged().records()[1].message, "QLCNetworkRequest will use User-Agent: no User-Agent");
}

TEST_F(NetworkRequest, BodyIsTheJSONObjectOrNone) {
  const Map object = mapFromJson(R"({"a": 1})");
  const std::string deep(600, '[');
  struct Case {
    std::string body;
    std::optional<Map> expected;
    std::size_t lines = 0;
  };
  const Case cases[] = {
      {R"({"a": 1})", object},
      {" {\"a\":1}\n", object},
      {R"({"a": 2, "a": 1})", object},
      {"", std::nullopt},
      {"[1]", std::nullopt},
      {"5", std::nullopt},
      {"null", std::nullopt},
      {R"({"a": 1)", std::nullopt},
      {R"({"a": 1} x)", std::nullopt},
      {"{\"a\": \"\xFF\"}", std::nullopt},
      {R"({"a": 1e999})", std::nullopt},
      {R"({"a": )" + deep + std::string(600, ']') + "}", std::nullopt, 1},
  };
  for (const auto& [body, expected, lines] : cases) {
    const std::size_t before = processLines().size();
    const Outcome result = got({200, {}, body});
    EXPECT_EQ(result.body, expected) << body.substr(0, 40);
    EXPECT_EQ(result.status, 200);
    EXPECT_EQ(result.error, std::nullopt);
    EXPECT_EQ(processLines().size() - before, lines);
  }
}

TEST_F(NetworkRequest, StatusTagAndTransactionOfAReply) {
  const Outcome done = got({200, {{"ETAG", "W/\"x\""}, {"X-Transaction", "t"}}, "{}"});
  EXPECT_EQ(done.eTag, "W/\"x\"");
  EXPECT_EQ(got({204, {}, ""}).eTag, std::nullopt);
  EXPECT_THAT(processLines(), IsEmpty());

  const Outcome unchanged = got({304, {{"Etag", "\"y\""}, {"x-transaction", "t1"}}, ""});
  EXPECT_EQ(unchanged.status, 304);
  EXPECT_EQ(unchanged.eTag, "\"y\"");
  EXPECT_EQ(unchanged.error, std::nullopt);
  const Outcome failed = got({500, {}, R"({"why": "x"})"});
  EXPECT_EQ(failed.status, 500);
  EXPECT_EQ(failed.body, mapFromJson(R"({"why": "x"})")) << "no status is a failure here";
  EXPECT_THAT(processLines(), ElementsAre("QLMNetworkRequest: Status 304 Transaction t1",
                                          "QLMNetworkRequest: Status 500 Transaction unknown"));
}

TEST_F(NetworkRequest, ATransactionIdCannotFillTheLogOrShowTheToken) {
  struct Case {
    std::string sent, shown;
  };
  const Case cases[] = {{std::string(100, 'x'), std::string(64, 'x')},
                        {"a\x1B[31m b\xC3\xA9", "a?[31m?b??"},
                        {std::string("id-") + test::secretToken, "unknown"}};
  for (const Case& c : cases) {
    reply = {500, {{"x-transaction", c.sent}}, ""};
    request.request(url, "GET", std::nullopt, test::secretToken, std::nullopt, recording());
    world.runUntilIdle();
    ASSERT_THAT(processLines(), testing::Not(IsEmpty()));
    EXPECT_EQ(processLines().back(), "QLMNetworkRequest: Status 500 Transaction " + c.shown);
  }
}

TEST_F(NetworkRequest, FailedTransfers) {
  ServiceReply reply200{200, {{"x-transaction", "t2"}, {"Etag", "\"z\""}}, R"({"a": 1})"};
  reply200.drop = Drop::midBody;
  const Outcome broken = got(reply200);
  EXPECT_EQ(broken.status, 200);
  EXPECT_EQ(broken.body, std::nullopt);
  EXPECT_EQ(broken.eTag, std::nullopt);
  EXPECT_EQ(broken.error, QLMError::networkError);

  reply200.drop = Drop::beforeHeaders;
  const Outcome lost = got(reply200);
  EXPECT_EQ(lost.status, 0);
  EXPECT_EQ(lost.eTag, std::nullopt);
  EXPECT_EQ(lost.error, QLMError::networkError);

  const auto start = world.clocks().elapsed();
  EXPECT_EQ(got({200, {}, "", std::chrono::seconds(3600)}).error, QLMError::networkError);
  EXPECT_LT(world.clocks().elapsed() - start, std::chrono::seconds(11)) << "no longer than the longest wait";
  EXPECT_THAT(processLines(),
              ElementsAre("QLMNetworkRequest: Error the connection was lost after the head Transaction t2",
                          "QLMNetworkRequest: Error the connection was lost Unexpected response type.",
                          "QLMNetworkRequest: Error the request timed out Unexpected response type."));
}

TEST_F(NetworkRequest, WhatCannotBeSentCompletesLater) {
  struct Case {
    std::string url = ::qlczephra::test::url;
    std::string method = "GET";
    HeaderMap headers{};
  };
  const Case cases[] = {
      {""},
      {"service.test"},
      {"ftp://service.test/"},
      {"http://"},
      {"http://:80/"},
      {"http://a b/"},
      {"http://a/\r\nX: y"},
      {"http://a/\xC3\xBC"},
      {url, ""},
      {url, "GET /x HTTP/1.1\r\n"},
      {url, "GET", {{"A", "b\nc"}}},
      {url, "GET", {{"A", "b\rc"}}},
      {url, "GET", {{"A", std::string("b\0c", 3)}}},
      {url, "GET", {{"A\r\nB", "c"}}},
      {url, "GET", {{"A:", "c"}}},
      {url, "GET", {{"", "c"}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.url + " " + c.method);
    outcome = {};
    request.request(c.url, c.method, c.headers, std::nullopt, recording());
    EXPECT_EQ(outcome.completions, 0);
    world.runUntilIdle();
    EXPECT_EQ(outcome.completions, 1);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.body, std::nullopt);
    EXPECT_EQ(outcome.eTag, std::nullopt);
    EXPECT_EQ(outcome.error, std::nullopt) << "not one of the transport's errors: nothing is to be repeated";
  }
  EXPECT_THAT(world.network().sent(), IsEmpty());
  EXPECT_THAT(processLines(), SizeIs(std::size(cases)));
}

TEST_F(NetworkRequest, GoesOnWithoutItsObjectAndSurvivesACompletionThatThrows) {
  auto temporary = std::make_unique<QLCNetworkRequest>(world);
  temporary->request(url, "GET", HeaderMap(), std::nullopt, recording());
  temporary.reset();
  world.runUntilIdle();
  EXPECT_EQ(outcome.completions, 1);
  request.request(url, "GET", HeaderMap(), std::nullopt, [](auto&&...) { throw std::runtime_error("of the host"); });
  world.runUntilIdle();
  EXPECT_THAT(processLines(), SizeIs(1));
}

}  // namespace
}  // namespace qlczephra::test
