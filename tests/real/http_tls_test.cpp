// Whom the session trusts, with and without the host's certificates handler.
#include <gmock/gmock.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "tests/real/http_session_fixture.h"

namespace qlczephra::platform {
namespace {

using Decide = std::function<void(TrustDecision)>;

// A host's handler that does what the test says, and counts.
class ScriptedHandler : public QLCPMCertificatesHandler {
 public:
  explicit ScriptedHandler(std::function<void(Decide)> script) : script_(std::move(script)) {}
  explicit ScriptedHandler(TrustDecision decision) : script_([decision](const Decide& decide) { decide(decision); }) {}

  void evaluate(const ServerTrust& trust, Decide decide) override {
    {
      const MutexLock lock(mutex_);
      lastTrust_ = trust;
    }
    ++asked;
    script_(std::move(decide));
  }
  ServerTrust lastTrust() {
    const MutexLock lock(mutex_);
    return lastTrust_;
  }

  std::atomic<int> asked = 0;

 private:
  const std::function<void(Decide)> script_;
  Mutex mutex_;
  ServerTrust lastTrust_ QLCZ_GUARDED_BY(mutex_);
};

std::shared_ptr<ScriptedHandler> handlerThat(std::function<void(Decide)> script) {
  return std::make_shared<ScriptedHandler>(std::move(script));
}

class HttpTls : public TlsSessionTest {
 protected:
  struct Server {
    const char* name;
    test::ServerIdentity identity;
    bool trustedByDefault;
  };
  std::vector<Server> servers() {
    const test::CertificateAuthority stranger("stranger");
    test::CertificateWishes expired;
    expired.validUntil = -30min;
    test::CertificateWishes early;
    early.validFrom = 30min;
    return {{"good", authority_.issue(), true},
            {"expired", authority_.issue(expired), false},
            {"not yet valid", authority_.issue(early), false},
            {"wrong host", authority_.issue({.hosts = {"other.test"}, .addresses = {}}), false},
            {"wrong address", authority_.issue({.hosts = {}, .addresses = {"127.0.0.2"}}), false},
            {"host in the common name only",
             authority_.issue({.hosts = {}, .addresses = {}, .commonName = "localhost"}), false},
            {"wildcard for a part of the name", authority_.issue({.hosts = {"loc*"}, .addresses = {}}), false},
            {"untrusted", stranger.issue(), false}};
  }
  static const char* hostFor(const std::string& name) { return name == "wrong address" ? "127.0.0.1" : "localhost"; }
};

TEST_F(HttpTls, DefaultEvaluationWithoutAHandlerAndOnItsBehalf) {
  for (const Server& tested : servers()) {
    for (const bool asksHandler : {false, true}) {
      const RawServer server(test::answering(test::okReply()), tested.identity);
      HttpRequest request = get(server.url("/", hostFor(tested.name)));
      if (asksHandler) {
        request.certificatesHandler = std::make_shared<ScriptedHandler>(TrustDecision::performDefaultHandling);
      }
      const HttpOutcome outcome = exchange(request);
      EXPECT_EQ(statusOf(outcome), tested.trustedByDefault ? 200 : 0) << tested.name << ", handler: " << asksHandler;
      EXPECT_EQ(outcome.failure.has_value(), !tested.trustedByDefault) << tested.name << ", handler: " << asksHandler;
    }
  }
}

TEST_F(HttpTls, NothingOlderThanTls12IsSpoken) {
  for (const int version : {TLS1_VERSION, TLS1_1_VERSION, TLS1_2_VERSION, TLS1_3_VERSION}) {
    const RawServer server(test::answering(test::okReply()), authority_.issue(), version);
    // A handler's consent is about the certificate, not about this.
    for (const auto& handler :
         {std::shared_ptr<ScriptedHandler>(), std::make_shared<ScriptedHandler>(TrustDecision::trust)}) {
      const HttpOutcome outcome = exchange(judgedBy(get(server.url("/", "localhost")), handler));
      EXPECT_EQ(statusOf(outcome), version >= TLS1_2_VERSION ? 200 : 0) << std::hex << version;
    }
  }
}

TEST_F(HttpTls, TheHandlersDecisionHoldsWhateverTheChain) {
  for (const Server& tested : servers()) {
    for (const TrustDecision decision : {TrustDecision::trust, TrustDecision::refuse}) {
      const RawServer server(test::answering(test::okReply()), tested.identity);
      const auto handler = std::make_shared<ScriptedHandler>(decision);
      const HttpOutcome outcome = exchange(judgedBy(get(server.url("/", hostFor(tested.name))), handler));
      EXPECT_EQ(statusOf(outcome), decision == TrustDecision::trust ? 200 : 0) << tested.name;
      EXPECT_EQ(outcome.failure.has_value(), decision == TrustDecision::refuse) << tested.name;
      EXPECT_EQ(handler->asked, 1) << tested.name;
      const ServerTrust trust = handler->lastTrust();
      EXPECT_EQ(trust.host, hostFor(tested.name));
      EXPECT_EQ(trust.port, server.port());
      EXPECT_EQ(trust.chain.size(), 2U) << "the server's own certificate and its authority's";
    }
  }
}

TEST_F(HttpTls, HandlersThatMisbehave) {
  std::vector<std::thread> later;
  Decide kept;
  struct Case {
    const char* name;
    std::shared_ptr<ScriptedHandler> handler;
    int status;
    bool answers = true;
  } const cases[] = {
      {"throws", handlerThat([](const Decide&) { throw std::runtime_error("no"); }), 0},
      {"throws something odd", handlerThat([](const Decide&) { throw 1; }), 0},
      {"never answers", handlerThat([&](Decide decide) { kept = std::move(decide); }), 0, false},
      {"drops the question", handlerThat([](const Decide&) {}), 0, false},
      {"trusts, then refuses", handlerThat([](const Decide& decide) {
         decide(TrustDecision::trust);
         decide(TrustDecision::refuse);
       }),
       200},
      {"refuses, then trusts", handlerThat([](const Decide& decide) {
         decide(TrustDecision::refuse);
         decide(TrustDecision::trust);
       }),
       0},
      {"answers twice from another thread", handlerThat([&](Decide decide) {
         later.emplace_back([decide = std::move(decide)] {
           std::this_thread::sleep_for(100ms);
           decide(TrustDecision::trust);
           decide(TrustDecision::trust);
         });
       }),
       200},
      {"a decision that does not exist", std::make_shared<ScriptedHandler>(static_cast<TrustDecision>(77)), 0},
  };
  const RawServer server(test::answering(test::okReply()), authority_.issue());
  for (const Case& test : cases) {
    HttpRequest request = judgedBy(get(server.url()), test.handler);
    if (!test.answers) request.longestWait = 1s;
    const HttpOutcome outcome = exchange(std::move(request));
    EXPECT_EQ(statusOf(outcome), test.status) << test.name;
    EXPECT_EQ(outcome.failure.has_value(), test.status == 0) << test.name;
    EXPECT_EQ(test.handler->asked, 1) << test.name;
  }
  for (std::thread& thread : later) thread.join();
  kept(TrustDecision::trust);  // too late, and harmless
  EXPECT_EQ(statusOf(exchange(get(server.url()))), 200);
  session().stop();
  kept(TrustDecision::refuse);
}

TEST_F(HttpTls, AHandlerThatThinksHoldsUpNobodyElse) {
  std::promise<void> opener;
  const std::shared_future<void> open = opener.get_future().share();
  const auto blocking = handlerThat([open](const Decide& decide) {
    open.wait();
    decide(TrustDecision::trust);
  });
  const auto quick = std::make_shared<ScriptedHandler>(TrustDecision::trust);
  const RawServer server(test::answering(test::okReply()), authority_.issue());
  std::vector<std::future<HttpOutcome>> waiting;
  for (int i = 0; i < 20; ++i) waiting.push_back(begin(judgedBy(get(server.url()), blocking)));
  while (blocking->asked < 20) std::this_thread::sleep_for(1ms);
  EXPECT_EQ(statusOf(exchange(get(server.url()))), 200);
  EXPECT_EQ(statusOf(exchange(judgedBy(get(server.url()), quick))), 200);
  opener.set_value();
  for (auto& outcome : waiting) EXPECT_EQ(statusOf(end(std::move(outcome))), 200);
}

TEST_F(HttpTls, TheHandlerIsAskedOncePerConnectionAndInheritedBySessions) {
  std::atomic<int> requests = 0;
  const RawServer server(
      [&](RawConnection& connection) {
        // Two requests a connection.
        for (int i = 0; i < 2 && !connection.readRequest().empty(); ++i) {
          ++requests;
          connection.write(test::okReply());
        }
      },
      authority_.issue());
  const auto handler = std::make_shared<ScriptedHandler>(TrustDecision::trust);
  const auto other = std::make_shared<ScriptedHandler>(TrustDecision::refuse);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(statusOf(exchange(judgedBy(get(server.url()), handler))), 200);
  EXPECT_EQ(server.connections(), 1);
  EXPECT_EQ(handler->asked, 1);
  EXPECT_EQ(statusOf(exchange(judgedBy(get(server.url()), other))), 0);
  EXPECT_EQ(other->asked, 1) << "neither connection nor session of another handler";
  EXPECT_EQ(statusOf(exchange(get(server.url()))), 200);
  EXPECT_EQ(server.connections(), 3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(statusOf(exchange(judgedBy(get(server.url()), handler))), 200);
  EXPECT_EQ(handler->asked, 1) << "a resumed session inherits the decision";
  EXPECT_EQ(requests, 6);
}

TEST_F(HttpTls, AHandlersDecisionHoldsForSomeTimeOnly) {
  options.decisionLifetime = 300ms;
  const RawServer server(test::answering(test::okReply()), authority_.issue());
  const auto handler = std::make_shared<ScriptedHandler>(TrustDecision::trust);
  const auto request = judgedBy(get(server.url()), handler);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(statusOf(exchange(request)), 200);
  EXPECT_EQ(handler->asked, 1);
  std::this_thread::sleep_for(300ms);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(statusOf(exchange(request)), 200);
  EXPECT_EQ(handler->asked, 2) << "neither the connection nor its session is used any longer";
}

TEST_F(HttpTls, AHandlerWhoseDestructorWaitsHoldsUpNobodyElse) {
  struct Slow : ScriptedHandler {
    explicit Slow(std::shared_future<void> open) : ScriptedHandler(TrustDecision::trust), open_(std::move(open)) {}
    ~Slow() override { open_.wait(); }
    const std::shared_future<void> open_;
  };
  const RawServer server(test::answering(test::okReply()), authority_.issue());
  for (const std::string& url : {server.url(), std::string("http://127.0.0.1:1/"), std::string("nonsense")}) {
    std::promise<void> opener;
    end(begin(judgedBy(get(url), std::make_shared<Slow>(opener.get_future().share()))));
    EXPECT_EQ(statusOf(exchange(get(server.url()))), 200) << url;
    opener.set_value();
  }
}

TEST_F(HttpTls, TheBundleIsReadOnceAndAgainWhenItChanged) {
  const test::CertificateAuthority newcomer("newcomer");
  const RawServer old(test::answering(test::okReply()), authority_.issue());
  const RawServer fresh(test::answering(test::okReply()), newcomer.issue());
  std::vector<std::future<HttpOutcome>> many;
  for (int i = 0; i < 20; ++i) many.push_back(begin(get(old.url())));
  for (auto& outcome : many) EXPECT_EQ(statusOf(end(std::move(outcome))), 200);
  EXPECT_EQ(statusOf(exchange(get(fresh.url()))), 0);
  EXPECT_EQ(session().trustStoreLoads(), 1U);

  trustOnly(newcomer.certificate());
  EXPECT_EQ(statusOf(exchange(get(fresh.url()))), 200);
  EXPECT_EQ(statusOf(exchange(get(old.url()))), 0) << "kept connections and sessions do not outlive their trust";
  EXPECT_EQ(session().trustStoreLoads(), 2U);

  std::filesystem::remove(options.trustBundle);
  EXPECT_EQ(statusOf(exchange(get(fresh.url()))), 200) << "a bundle that is gone leaves the certificates of before";
  EXPECT_EQ(statusOf(exchange(get(fresh.url()))), 200);
  EXPECT_EQ(session().trustStoreLoads(), 3U);
}

TEST_F(HttpTls, WithoutABundleNobodyIsTrusted) {
  options.trustBundle = folder_ / "missing.pem";
  const RawServer server(test::answering(test::okReply()), authority_.issue());
  EXPECT_EQ(statusOf(exchange(get(server.url()))), 0);
}

}  // namespace
}  // namespace qlczephra::platform
