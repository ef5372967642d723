// Connections: kept, reused, found dead; and many of them.
#include <atomic>
#include <thread>

#include "tests/real/http_session_fixture.h"

namespace qlczephra::platform {
namespace {

class HttpConnections : public TlsSessionTest {};

class TrustsAll : public QLCPMCertificatesHandler {
 public:
  void evaluate(const ServerTrust&, std::function<void(TrustDecision)> decide) override {
    decide(TrustDecision::trust);
  }
};

TEST_F(HttpConnections, AreReusedWithinAHandlerAndNotAcross) {
  const auto one = std::make_shared<TrustsAll>();
  const auto other = std::make_shared<TrustsAll>();
  const auto aliased = std::shared_ptr<QLCPMCertificatesHandler>(one, other.get());
  for (const bool secure : {false, true}) {
    const RawServer server(test::answering(test::okReply()), secure ? std::optional(authority_.issue()) : std::nullopt);
    int expected = 0;
    for (const auto& handler :
         {std::shared_ptr<QLCPMCertificatesHandler>(), std::shared_ptr<QLCPMCertificatesHandler>(one),
          std::shared_ptr<QLCPMCertificatesHandler>(other), aliased}) {
      for (int i = 0; i < 5; ++i) EXPECT_EQ(statusOf(exchange(judgedBy(get(server.url()), handler))), 200);
      EXPECT_EQ(server.connections(), ++expected) << "secure: " << secure;
    }
    EXPECT_EQ(statusOf(exchange(judgedBy(get(server.url()), one))), 200);
    EXPECT_EQ(server.connections(), expected);
  }
}

TEST_F(HttpConnections, AreClosedAfterSomeIdleTime) {
  options.idleTime = 200ms;
  std::promise<void> closed;
  const RawServer server([&](RawConnection& connection) {
    while (!connection.readRequest().empty()) connection.write(test::okReply());
    closed.set_value();
  });
  EXPECT_EQ(statusOf(exchange(get(server.url()))), 200);
  EXPECT_EQ(closed.get_future().wait_for(aLot), std::future_status::ready);
}

// The thread that drove the network for a transfer is the one that runs its completion.
TEST_F(HttpConnections, AreDrivenWhileCompletionsAreHeldUp) {
  constexpr int heldUp = 5;  // more than there are workers when nothing is held up
  const RawServer server(test::answering(test::okReply()));
  std::atomic<int> good{0};
  std::vector<std::future<void>> ends;
  for (int i = 0; i < heldUp; ++i) {
    auto ended = std::make_shared<std::promise<void>>();
    ends.push_back(ended->get_future());
    session().send(get(server.url()), [&, ended](const HttpOutcome& outcome) {
      ASSERT_TRUE(workers_->hostCodeBegins());
      if (statusOf(outcome) == 200 && statusOf(exchange(get(server.url()))) == 200) ++good;
      workers_->hostCodeEnds();
      ended->set_value();
    });
  }
  for (auto& end : ends) ASSERT_EQ(end.wait_for(aLot), std::future_status::ready);
  EXPECT_EQ(good, heldUp);
}

// A server may close a kept connection at the very moment at which the next request is on its way.
TEST_F(HttpConnections, ThatDiedUnnoticedLoseNoRequest) {
  const std::string large(8'000'000, 'x');
  struct Case {
    const char* name;
    bool secure;
    bool resets;
    std::string body;
  } const cases[] = {{"plain, closed", false, false, "b"},
                     {"plain, reset", false, true, "b"},
                     {"plain, closed, large", false, false, large},
                     {"plain, reset, large", false, true, large},
                     {"TLS, closed", true, false, "b"},
                     {"TLS, reset", true, true, "b"},
                     {"TLS, closed, large", true, false, large},
                     {"TLS, reset, large", true, true, large}};
  for (const Case& test : cases) {
    std::atomic<int> answered = 0;
    const RawServer server(
        [&](RawConnection& connection) {
          if (connection.readRequest().empty()) return;
          ++answered;
          connection.write(test::okReply());
          // The first connection takes the beginning of its second request and dies of it.
          if (connection.number() == 0) {
            connection.waitForData();
            if (test.resets) connection.reset();
            return;
          }
          connection.stall();
        },
        test.secure ? std::optional(authority_.issue()) : std::nullopt);
    EXPECT_EQ(statusOf(exchange(patch(server.url(), "a"))), 200) << test.name;
    const HttpOutcome outcome = exchange(patch(server.url(), test.body));
    EXPECT_EQ(statusOf(outcome), 200) << test.name << ": " << outcome.failure.value_or("");
    EXPECT_EQ(answered, 2) << test.name;
    EXPECT_EQ(server.connections(), 2) << test.name;
  }
}

// What comes unasked behind a reply must not answer the next request: that one gets a connection of its own.
TEST_F(HttpConnections, OnWhichMoreCameThanAReplyAreNotUsedAgain) {
  const std::string extra = test::okReply("extra");
  const std::string replies[] = {test::okReply("first"),
                                 "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nfirst\r\n0\r\n\r\n",
                                 "HTTP/1.1 304 Not Modified\r\n\r\n"};
  for (const std::string& reply : replies) {
    for (const bool secure : {false, true}) {
      for (const auto pause : {-1ms, 0ms, 20ms}) {  // the first one: in one piece with the reply
        std::promise<void> written;
        const RawServer server(
            [&](RawConnection& connection) {
              if (connection.number() > 0) return test::answering(test::okReply("own"))(connection);
              connection.readRequest();
              connection.write(pause < 0ms ? reply + extra : reply);
              if (pause >= 0ms) {
                std::this_thread::sleep_for(pause);
                connection.write(extra);
              }
              written.set_value();
              connection.readRequest();
              connection.write(test::okReply("used again"));
            },
            secure ? std::optional(authority_.issue()) : std::nullopt);
        exchange(get(server.url()));
        written.get_future().wait();
        std::this_thread::sleep_for(20ms);
        const HttpOutcome second = exchange(patch(server.url(), "{}"));
        EXPECT_EQ(second.body, "own") << reply << " secure: " << secure << " pause: " << pause.count();
      }
    }
  }
}

TEST_F(HttpConnections, AReplyThatBeginsBeforeTheRequestIsSentIsAFailure) {
  const std::string large(32'000'000, 'x');
  const RawServer server([&](RawConnection& connection) {
    connection.waitForData();
    connection.write(test::okReply());
    connection.stall();
  });
  EXPECT_EQ(exchange(patch(server.url(), large)).failure, "A reply began before the request was sent");
}

TEST_F(HttpConnections, AThousandAtOnce) {
  constexpr int requests = 1000;
  std::atomic<int> arrived = 0;
  std::promise<void> allArrived;
  const std::shared_future<void> open = allArrived.get_future().share();
  // No request is answered before the last one has come.
  const RawServer server([&](RawConnection& connection) {
    if (connection.readRequest().empty()) return;
    if (++arrived == requests) allArrived.set_value();
    if (open.wait_for(aLot) == std::future_status::ready) connection.write(test::okReply());
  });
  options.transfersAtOnce = requests;
  std::vector<std::future<HttpOutcome>> outcomes;
  for (int i = 0; i < requests; ++i) outcomes.push_back(begin(impatient(get(server.url()), aLot)));
  int good = 0;
  for (auto& outcome : outcomes) good += statusOf(end(std::move(outcome))) == 200 ? 1 : 0;
  EXPECT_EQ(good, requests);
}

TEST_F(HttpConnections, WhatExceedsThePlacesWaitsItsTurn) {
  options.transfersAtOnce = 3;
  std::atomic<int> now = 0;
  std::atomic<int> most = 0;
  const RawServer server([&](RawConnection& connection) {
    while (!connection.readRequest().empty()) {
      int seen = ++now;
      for (int before = most; before < seen && !most.compare_exchange_weak(before, seen);) {
      }
      std::this_thread::sleep_for(100ms);
      --now;
      connection.write(test::okReply());
    }
  });
  std::vector<std::future<HttpOutcome>> outcomes;
  // The later ones wait longer for their turn than they would for the server.
  for (int i = 0; i < 60; ++i) outcomes.push_back(begin(impatient(get(server.url()), 1500ms)));
  for (auto& outcome : outcomes) EXPECT_EQ(statusOf(end(std::move(outcome))), 200);
  EXPECT_EQ(most, 3);
}

TEST_F(HttpConnections, ThousandsInARowUseOne) {
  for (const bool secure : {false, true}) {
    const RawServer server(test::answering(test::okReply()), secure ? std::optional(authority_.issue()) : std::nullopt);
    const auto begun = std::chrono::steady_clock::now();
    constexpr int requests = 2000;
    for (int i = 0; i < requests; ++i) ASSERT_EQ(statusOf(exchange(patch(server.url(), "{}"))), 200);
    const std::chrono::duration<double, std::micro> elapsed = std::chrono::steady_clock::now() - begun;
    RecordProperty(secure ? "microseconds_tls" : "microseconds_plain", std::to_string(elapsed.count() / requests));
    EXPECT_EQ(server.connections(), 1);
  }
}

}  // namespace
}  // namespace qlczephra::platform
