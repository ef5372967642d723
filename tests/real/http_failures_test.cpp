// Transfers that fail, stall or crawl, and the end of the session in the middle of them.
#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "tests/real/http_session_fixture.h"
#include "tests/support/process_use.h"

namespace qlczephra::platform {
namespace {

using test::openDescriptors;
using test::threadsOfProcess;
using ::testing::HasSubstr;

// Threads that were told to end may need a moment.
bool eventually(const std::function<bool()>& condition) {
  for (int i = 0; i < 500; ++i) {
    if (condition()) return true;
    std::this_thread::sleep_for(10ms);
  }
  return condition();
}

// A lookup that is stuck until the gate opens. Shared with the thread that is stuck in it.
struct Gate {
  std::promise<void> opener;
  std::shared_future<void> open = opener.get_future().share();
  std::atomic<int> entered = 0;
};

LookUp stuckLookUp(std::shared_ptr<Gate> gate) {
  return [gate = std::move(gate)](const std::string&, std::uint16_t) {
    ++gate->entered;
    gate->open.wait();
    return LookUpResult{{"127.0.0.1"}, {}};
  };
}

class HttpFailures : public TlsSessionTest {};

TEST_F(HttpFailures, EndWithoutAHeadBeforeTheStatusLine) {
  std::uint16_t freePort = 0;
  {
    freePort = RawServer([](RawConnection&) {}).port();
  }
  const RawServer resets([](RawConnection& connection) {
    connection.readRequest();
    connection.reset();
  });
  const RawServer resetsUnread([](RawConnection& connection) { connection.reset(); });
  const RawServer closesTls([](RawConnection&) {});
  options.lookUp = [](const std::string&, std::uint16_t) { return LookUpResult{{}, "no such name"}; };
  struct Case {
    const char* name;
    std::string url;
    const char* reason;
  } const cases[] = {
      {"refused", "http://127.0.0.1:" + std::to_string(freePort) + "/", "connect"},
      {"reset after the request", resets.url(), ""},
      {"reset at once", resetsUnread.url(), ""},
      {"no TLS server", "https://127.0.0.1:" + std::to_string(closesTls.port()) + "/", ""},
      {"unknown name", "http://unknown.test/", "no such name"},
  };
  for (const Case& test : cases) {
    const HttpOutcome outcome = exchange(patch(test.url, "body"));
    EXPECT_FALSE(outcome.head) << test.name;
    EXPECT_THAT(outcome.failure.value_or("no failure"), HasSubstr(test.reason)) << test.name;
    EXPECT_TRUE(outcome.failure) << test.name;
  }
}

TEST_F(HttpFailures, KeepTheHeadWhenTheBodyBreaks) {
  const RawServer server([](RawConnection& connection) {
    connection.readRequest();
    connection.write("HTTP/1.1 200 OK\r\nEtag: \"e\"\r\nContent-Length: 100\r\n\r\nhalf");
    std::this_thread::sleep_for(100ms);  // else the reset overtakes what was written
    connection.reset();
  });
  const HttpOutcome outcome = exchange(get(server.url()));
  EXPECT_EQ(statusOf(outcome), 200);
  EXPECT_TRUE(outcome.failure);
}

TEST_F(HttpFailures, AStallEndsTheTransferInWhateverStage) {
  const auto gate = std::make_shared<Gate>();
  options.lookUp = stuckLookUp(gate);
  const test::SilentPort silent;
  const RawServer mute([](RawConnection& connection) { connection.stall(); });
  const RawServer muteAfter([](RawConnection& connection) {
    connection.readRequest();
    connection.write("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf");
    connection.stall();
  });
  const RawServer muteTls([](RawConnection& connection) { connection.stall(); }, authority_.issue());
  const auto port = [](std::uint16_t number) { return std::to_string(number); };
  struct Case {
    const char* name;
    HttpRequest request;
    int status;
  } const cases[] = {
      {"name resolution", get("http://stuck.test/"), 0},
      {"connecting", get("http://127.0.0.1:" + port(silent.port()) + "/"), 0},
      {"handshake", get("https://127.0.0.1:" + port(mute.port()) + "/"), 0},
      {"sending", patch(mute.url(), std::string(50'000'000, 'x')), 0},
      {"waiting for the reply", get(mute.url()), 0},
      {"waiting for the reply, TLS", get(muteTls.url()), 0},
      {"waiting for the rest", get(muteAfter.url()), 200},
  };
  // All at once: none waits for another.
  const auto begun = std::chrono::steady_clock::now();
  std::vector<std::future<HttpOutcome>> outcomes;
  for (const Case& test : cases) outcomes.push_back(begin(impatient(test.request, 1500ms)));
  for (std::size_t i = 0; i < outcomes.size(); ++i) {
    const HttpOutcome outcome = end(std::move(outcomes[i]));
    EXPECT_EQ(statusOf(outcome), cases[i].status) << cases[i].name;
    EXPECT_TRUE(outcome.failure) << cases[i].name;
  }
  const auto elapsed = std::chrono::steady_clock::now() - begun;
  EXPECT_GE(elapsed, 1500ms);
  EXPECT_LT(elapsed, 8s);
  gate->opener.set_value();
}

TEST_F(HttpFailures, WhatCrawlsSucceeds) {
  const std::string reply = "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc";
  const auto crawl = [&](RawConnection& connection) {
    connection.readRequest();
    connection.drip(reply, 60ms);
  };
  const RawServer plain(crawl);
  const RawServer tls(crawl, authority_.issue());
  auto first = begin(impatient(get(plain.url()), 1500ms));
  auto second = begin(impatient(get(tls.url()), 1500ms));
  for (auto* outcome : {&first, &second}) {
    const HttpOutcome got = end(std::move(*outcome));
    EXPECT_EQ(got.failure, std::nullopt);
    EXPECT_EQ(got.body, "abc");
  }
}

TEST_F(HttpFailures, WhatTricklesForTooLongEnds) {
  const RawServer server([](RawConnection& connection) {
    connection.readRequest();
    connection.drip("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n" + std::string(100000, 'x'), 20ms);
  });
  HttpRequest request = get(server.url());
  request.longestDuration = 1000ms;
  EXPECT_EQ(exchange(request).failure, "Not complete after 1000 ms");
}

// As many as a host will hardly ever have.
TEST_F(HttpFailures, StuckNamesHoldUpNoOtherName) {
  const auto gate = std::make_shared<Gate>();
  const LookUp stuck = stuckLookUp(gate);
  options.lookUp = [stuck](const std::string& host, std::uint16_t port) {
    return host == "good.test" ? LookUpResult{{"127.0.0.1"}, {}} : stuck(host, port);
  };
  const RawServer server(test::answering(test::okReply()));
  std::vector<std::future<HttpOutcome>> waiting;
  for (int i = 0; i < 12; ++i) waiting.push_back(begin(get(server.url("/", "stuck" + std::to_string(i) + ".test"))));
  EXPECT_EQ(statusOf(exchange(get(server.url("/", "good.test")))), 200);
  gate->opener.set_value();
  for (auto& outcome : waiting) EXPECT_EQ(statusOf(end(std::move(outcome))), 200);
}

TEST_F(HttpFailures, AnAddressWithAZoneIsLeftOut) {
  const RawServer server(test::answering(test::okReply()));
  options.lookUp = [](const std::string& host, std::uint16_t) {
    LookUpResult result{{"fe80::1%lo"}, {}};
    if (host == "mixed.test") result.addresses.emplace_back("127.0.0.1");
    return result;
  };
  EXPECT_EQ(statusOf(exchange(get(server.url("/", "mixed.test")))), 200);
  EXPECT_THAT(exchange(get(server.url("/", "local.test"))).failure.value_or(""), ::testing::HasSubstr("link-local"));
}

TEST_F(HttpFailures, AStuckNameHoldsUpNobodyElse) {
  const auto gate = std::make_shared<Gate>();
  const LookUp stuck = stuckLookUp(gate);
  std::atomic<int> lookUps = 0;
  options.lookUp = [&, stuck](const std::string& host, std::uint16_t port) {
    if (host == "stuck.test") return stuck(host, port);
    ++lookUps;
    return LookUpResult{{"127.0.0.1"}, {}};
  };
  const RawServer server(test::answering(test::okReply()));
  std::vector<std::future<HttpOutcome>> waiting;
  for (int i = 0; i < 20; ++i)
    waiting.push_back(begin(get("http://stuck.test:" + std::to_string(server.port()) + "/")));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(statusOf(exchange(get(server.url("/", "good.test")))), 200);
  EXPECT_EQ(lookUps, 1);
  gate->opener.set_value();
  for (auto& outcome : waiting) EXPECT_EQ(statusOf(end(std::move(outcome))), 200);
  EXPECT_EQ(gate->entered, 1) << "one lookup for all who ask for the same name";
}

TEST_F(HttpFailures, TriesTheNextAddress) {
  const RawServer server(test::answering(test::okReply()));
  options.lookUp = [](const std::string&, std::uint16_t) {
    return LookUpResult{{"::1", "127.0.0.9", "127.0.0.1"}, {}};
  };
  EXPECT_EQ(statusOf(exchange(get(server.url("/", "several.test")))), 200);
}

TEST_F(HttpFailures, SpeaksIPv6) {
  const RawServer server(test::answering(test::okReply()), std::nullopt, RawServer::Address::ipv6);
  options.lookUp = [](const std::string&, std::uint16_t) { return LookUpResult{{"127.0.0.1", "::1"}, {}}; };
  EXPECT_EQ(statusOf(exchange(get(server.url("/", "several.test")))), 200);
  EXPECT_EQ(statusOf(exchange(get(server.url("/", "[::1]")))), 200);
}

TEST_F(HttpFailures, TheSystemFindsLocalhost) {
  const RawServer server(test::answering(test::okReply()));
  EXPECT_EQ(statusOf(exchange(get(server.url("/", "localhost")))), 200);
  EXPECT_TRUE(exchange(get("http://nowhere.invalid/")).failure);
}

class NeverAnswers : public QLCPMCertificatesHandler {
 public:
  void evaluate(const ServerTrust&, std::function<void(TrustDecision)> decide) override {
    decide_ = std::move(decide);
    asked.set_value();
  }
  std::promise<void> asked;

 private:
  std::function<void(TrustDecision)> decide_;
};

TEST_F(HttpFailures, StopWaitsForNothingAndLeavesNothing) {
  const auto descriptors = openDescriptors();
  const auto threadsBefore = threadsOfProcess();
  const auto gate = std::make_shared<Gate>();
  options.lookUp = stuckLookUp(gate);
  std::atomic<int> completions = 0;
  std::weak_ptr<int> captured;
  const auto handler = std::make_shared<NeverAnswers>();
  {
    const test::SilentPort silent;
    const RawServer mute([](RawConnection& connection) { connection.stall(); });
    const RawServer tls(test::answering(test::okReply()), authority_.issue());
    auto token = std::make_shared<int>();
    captured = token;
    const HttpRequest requests[] = {
        get("http://stuck.test/"),
        get("http://127.0.0.1:" + std::to_string(silent.port()) + "/"),
        get("https://127.0.0.1:" + std::to_string(mute.port()) + "/"),
        get(mute.url()),
        patch(mute.url(), std::string(50'000'000, 'x')),
        judgedBy(get(tls.url()), handler),
    };
    for (const HttpRequest& request : requests) {
      session().send(request, [token, &completions](const HttpOutcome&) { ++completions; });
    }
    token.reset();
    ASSERT_EQ(handler->asked.get_future().wait_for(aLot), std::future_status::ready);
    ASSERT_TRUE(eventually([&] { return gate->entered == 1 && mute.connections() == 3; }));

    const auto begun = std::chrono::steady_clock::now();
    session().stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begun, 5s);
    session().send(get(mute.url()), [&](const HttpOutcome&) { ++completions; });
    session().stop();
    EXPECT_TRUE(eventually([&] { return captured.expired(); })) << "the completions are destroyed";
  }
  workers_->stop();
  // All but the lookup, which nobody can interrupt.
  EXPECT_TRUE(eventually([&] { return threadsOfProcess() == threadsBefore + 1; }))
      << threadsOfProcess() << ", before " << threadsBefore;
  EXPECT_EQ(openDescriptors(), descriptors);
  gate->opener.set_value();
  EXPECT_TRUE(eventually([&] { return threadsOfProcess() == threadsBefore; }))
      << threadsOfProcess() << ", before " << threadsBefore;
  EXPECT_EQ(completions, 0);
}

TEST_F(HttpFailures, StopWithoutARequestOrBeforeAnyMoved) {
  session().stop();
  for (int i = 0; i < 50; ++i) {
    CurlHttpSession brief(httpEnvironmentOn(workers_));
    if (i % 2 == 0) brief.send(get("http://127.0.0.1:1/"), [](const HttpOutcome&) {});
  }
}

}  // namespace
}  // namespace qlczephra::platform
