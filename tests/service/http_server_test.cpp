// The service on a real port: replies and broken connections as a client sees them, TLS, keeping alive, stopping.
#include "service/http_server.h"

#include <httplib.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "service/files.h"
#include "service_fixture.h"

namespace qlczephra::service {
namespace {

using std::chrono::steady_clock;

class HttpServer : public ServiceTest {
 protected:
  httplib::Headers bearer(const std::string& name = "User-Agent", const std::string& value = "test") {
    return {{"Authorization", "Bearer secret"}, {name, value}};
  }
  std::unique_ptr<httplib::Client> client() {
    auto result = std::make_unique<httplib::Client>(server_.url());
    result->set_keep_alive(true);
    return result;
  }

  ServiceServer server_{service_};
};

TEST_F(HttpServer, SpeaksTheProtocolOverOneConnection) {
  ASSERT_TRUE(server_.start());
  const auto client = this->client();
  const auto first = client->Get(settingsPath("c%6Frlane"), bearer());
  ASSERT_TRUE(first);
  EXPECT_EQ(first->status, 200);
  EXPECT_EQ(parsed(first->body), parsed(smallDocument));
  EXPECT_EQ(first->headers.count("Etag"), 1U);
  EXPECT_EQ(first->get_header_value_count("Content-Type"), 1U);
  const auto second = client->Get(settingsPath(), bearer("If-None-Match", first->get_header_value("Etag")));
  ASSERT_TRUE(second);
  EXPECT_EQ(second->status, 304);
  const auto patched = client->Patch(settingsPath(), bearer("If-Match", first->get_header_value("Etag")),
                                     R"({"values": {"common": {"a": 5}}})", "application/json");
  ASSERT_TRUE(patched);
  EXPECT_EQ(patched->status, 200);
  EXPECT_EQ(values().map()->find("common")->map()->find("a")->integer(), 5);
  const auto log = client->Get("/control/log");
  ASSERT_TRUE(log);
  EXPECT_EQ(parsed(log->body).map()->find("count")->integer(), 3);
  EXPECT_EQ(server_.acceptedConnections(), 1U);
}

TEST_F(HttpServer, BreaksTheConnectionWhereTheFaultSays) {
  ASSERT_TRUE(server_.start());
  for (const char* place : {"before-headers", "after-headers", "mid-body"}) {
    givenFaults(std::string(R"([{"drop": ")") + place + R"("}])");
    int statusSeen = 0;
    std::size_t bytesSeen = 0;
    const auto reply = client()->Get(
        settingsPath(), bearer(),
        [&](const httplib::Response& head) {
          statusSeen = head.status;
          return true;
        },
        [&](const char*, std::size_t size) {
          bytesSeen += size;
          return true;
        });
    EXPECT_FALSE(reply) << place;
    EXPECT_EQ(statusSeen, std::string(place) == "before-headers" ? 0 : 200) << place;
    EXPECT_EQ(bytesSeen > 0, std::string(place) == "mid-body") << place;
    EXPECT_LT(bytesSeen, get().body.size()) << place;
  }
  const auto after = client()->Get(settingsPath(), bearer());
  ASSERT_TRUE(after);
  EXPECT_EQ(after->status, 200);
}

TEST_F(HttpServer, StopsAtOnceWithIdleAndHeldBackConnections) {
  ASSERT_TRUE(server_.start());
  const auto idle = client();
  ASSERT_TRUE(idle->Get(settingsPath(), bearer()));
  givenFaults(R"([{"delay_ms": 60000}])");
  std::thread waiting([this] { EXPECT_FALSE(client()->Get(settingsPath(), bearer())); });
  while (service_.log().count() < 2) std::this_thread::yield();
  const auto begin = steady_clock::now();
  server_.stop();
  waiting.join();
  EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds(2));
  EXPECT_FALSE(client()->Get(settingsPath(), bearer()));
}

TEST_F(HttpServer, RefusesAPortInUse) {
  ASSERT_TRUE(server_.start());
  ServiceServer second(service_);
  EXPECT_FALSE(second.start(server_.port()));
}

TEST_F(HttpServer, ServesManyKeptConnectionsAtOnce) {
  ASSERT_TRUE(server_.start());
  std::vector<std::unique_ptr<httplib::Client>> clients;
  for (int i = 0; i < 200; ++i) {
    clients.push_back(client());
    const auto reply = clients.back()->Get(settingsPath(), bearer());
    ASSERT_TRUE(reply) << i;
    EXPECT_EQ(reply->status, 200);
  }
  for (auto& each : clients) ASSERT_TRUE(each->Get(settingsPath(), bearer()));
  EXPECT_EQ(server_.acceptedConnections(), clients.size());
}

TEST_F(HttpServer, ProvesItsNameUnderTls) {
  const struct {
    const char* name;
    CertificateRequest request;
    bool trusted;
    bool accepted;
  } cases[] = {
      {"good", {}, true, true},
      {"untrusted authority", {}, false, false},
      {"wrong host", {.names = {"elsewhere.example"}}, true, false},
      {"expired", {.expired = true}, true, false},
  };
  for (const auto& test : cases) {
    const ServerCertificate certificate = makeServerCertificate(test.request);
    const std::string authority = testing::TempDir() + "/authority.pem";
    ASSERT_TRUE(replaceFile(authority, test.trusted ? certificate.authorityPem : makeServerCertificate().authorityPem));
    ServiceServer server(service_, certificate);
    ASSERT_TRUE(server.start());
    httplib::SSLClient client("127.0.0.1", server.port());
    client.set_ca_cert_path(authority.c_str());
    client.enable_server_certificate_verification(true);
    const auto reply = client.Get(settingsPath(), bearer());
    EXPECT_EQ(static_cast<bool>(reply), test.accepted) << test.name << ": " << httplib::to_string(reply.error());
    if (reply) {
      EXPECT_EQ(parsed(reply->body), parsed(smallDocument));
    }
    std::filesystem::remove(authority);
  }
}

}  // namespace
}  // namespace qlczephra::service
