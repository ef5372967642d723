// Scripted faults: which request takes which, what they do to the reply, and what their JSON form refuses.
#include "service/control.h"
#include "service_fixture.h"

namespace qlczephra::service {
namespace {

using Faults = ServiceTest;

TEST_F(Faults, AreTakenInOrderByTheRequestsTheyFit) {
  givenFaults(R"([
      {"match": {"method": "PATCH", "path suffix": "/settings"}, "status": 412, "count": 2},
      {"only_after": 1, "match": {"method": "GET"}, "status": 503},
      {"match": {"method": "GET"}, "status": 500},
      {"match": {"path suffix": "/node"}, "status": 429, "count": "always"}])");
  std::vector<int> gets;
  std::vector<int> patches;
  std::vector<int> registrations;
  for (int i = 0; i < 4; ++i) {
    gets.push_back(get().status);
    patches.push_back(patch(R"({"values": {}})").status);
    registrations.push_back(service_.handle(request("PATCH", nodePath(), R"({"pns_id": "x"})")).status);
  }
  EXPECT_EQ(gets, (std::vector<int>{500, 503, 200, 200}));
  EXPECT_EQ(patches, (std::vector<int>{412, 412, 200, 200}));
  EXPECT_EQ(registrations, (std::vector<int>{429, 429, 429, 429}));
  EXPECT_EQ(service_.faults().remaining(), 1U);
  service_.faults().clear();
  EXPECT_EQ(service_.handle(request("PATCH", nodePath(), R"({"pns_id": "x"})")).status, 200);
}

// Whether a change whose reply was spoiled has taken effect is what recovery is about.
TEST_F(Faults, CarryTheRequestOutOrNot) {
  const struct {
    const char* fault;
    bool applied;
    int status;
    Drop drop;
  } cases[] = {
      {R"([{"status": 500}])", false, 500, Drop::never},
      {R"([{"status": 500, "apply": true}])", true, 500, Drop::never},
      {R"([{"drop": "before-headers"}])", true, 200, Drop::beforeHeaders},
      {R"([{"drop": "mid-body", "apply": false}])", false, 503, Drop::midBody},
      {R"([{"drop": "after-headers"}])", true, 200, Drop::afterHeaders},
      {R"([{"delay_ms": 1500}])", true, 200, Drop::never},
  };
  for (const auto& test : cases) {
    service_.store().reset();
    givenFaults(test.fault);
    const ServiceReply reply = patch(R"({"values": {"common": {"a": 9}}})");
    EXPECT_EQ(values().map()->find("common")->map()->find("a")->integer(), test.applied ? 9 : 1) << test.fault;
    EXPECT_EQ(reply.status, test.status) << test.fault;
    EXPECT_EQ(reply.drop, test.drop) << test.fault;
  }
  givenFaults(R"([{"delay_ms": 1500}])");
  EXPECT_EQ(get().delay, std::chrono::milliseconds(1500));
}

TEST_F(Faults, SpoilTagBodyAndHeaders) {
  const std::string genuine = tagOf(get());
  givenFaults(R"([{"tag": "none"}, {"tag": "weak"}, {"tag": "wrong"}, {"bad_json": true}, {"body": "[]"},
                  {"headers": {"etag": "\"mine\"", "Retry-After": "5"}}])");
  EXPECT_FALSE(findHeader(get().headers, "Etag").has_value());
  EXPECT_EQ(tagOf(get()), "W/" + genuine);
  const std::string wrong = tagOf(get());
  EXPECT_NE(wrong, genuine);
  EXPECT_EQ(get({{"If-None-Match", genuine}}).status, 304);
  EXPECT_EQ(get().body, "[]");
  const ServiceReply last = get();
  EXPECT_EQ(tagOf(last), "\"mine\"");
  EXPECT_EQ(findHeader(last.headers, "Retry-After"), "5");
  EXPECT_EQ(patch(R"({"values": {}})", {{"If-Match", wrong}}).status, 412);

  givenFaults(R"([{"bad_json": true}])");
  const ServiceReply broken = get();
  EXPECT_TRUE(std::holds_alternative<json::ReadError>(json::read(broken.body))) << broken.body;
  EXPECT_EQ(tagOf(broken), genuine);
}

TEST(FaultFormat, RefusesWhatItDoesNotKnow) {
  for (const char* text :
       {"{}", "[1]", R"([{"stauts": 500}])", R"([{"status": "500"}])", R"([{"status": 99}])", R"([{"count": 0}])",
        R"([{"count": "forever"}])", R"([{"delay_ms": -1}])", R"([{"drop": "late"}])", R"([{"tag": "strong"}])",
        R"([{"match": {"path": "/x"}}])", R"([{"match": "GET"}])", R"([{"headers": {"a": 1}}])", R"([{"body": {}}])"}) {
    EXPECT_TRUE(std::holds_alternative<FaultError>(parseFaults(parsed(text)))) << text;
  }
}

TEST_F(Faults, AreScriptedOverTheControlInterface) {
  const auto control = [this](const char* method, const char* target, std::string body = {}) {
    const ServiceRequest question{method, target, {}, std::move(body)};
    EXPECT_TRUE(isControlRequest(question));
    return handleControl(service_, question);
  };
  EXPECT_EQ(control("POST", "/control/faults", R"([{"status": 503}])").status, 200);
  EXPECT_EQ(control("POST", "/control/faults", R"([{"status": true}])").status, 422);
  EXPECT_EQ(control("POST", "/control/faults", "[").status, 400);
  EXPECT_EQ(get().status, 503);
  EXPECT_EQ(control("POST", "/control/document?product=a%20b", std::string(smallDocument)).status, 200);
  EXPECT_EQ(control("POST", "/control/document?product=x", "{}").status, 422);
  EXPECT_EQ(control("POST", "/control/document", "{}").status, 400);
  EXPECT_EQ(service_.handle(request("GET", settingsPath("a%20b"))).status, 200);
  const Value log = parsed(control("GET", "/control/log").body);
  EXPECT_EQ(log.map()->find("count")->integer(), 2);
  EXPECT_EQ((*log.map()->find("requests")->list())[0].map()->find("status")->integer(), 503);

  EXPECT_EQ(patch(R"({"values": {"common": {"a": 4}}})").status, 200);
  const Value product = parsed(control("GET", "/control/product?product=corlane").body);
  EXPECT_EQ(*product.map()->find("values"), values());
  EXPECT_EQ(product.map()->find("tag")->string(), tagOf(get()));
  EXPECT_EQ(control("POST", "/control/reset").status, 200);
  EXPECT_EQ(parsed(get().body), parsed(smallDocument));
  EXPECT_EQ(service_.log().count(), 1U);
  EXPECT_EQ(control("GET", "/control/other").status, 404);
  EXPECT_EQ(control("GET", "/control/product?product=nobody").status, 404);
}

}  // namespace
}  // namespace qlczephra::service
