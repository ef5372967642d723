// The rules of the client interface: paths, methods, tokens, conditions, bodies.
#include <set>

#include "service/entity_tag.h"
#include "service_fixture.h"

namespace qlczephra::service {
namespace {

TEST(EntityTag, ComparesAsTheConditionAsks) {
  const struct {
    const char* header;
    const char* current;
    bool strong;
    bool weak;
  } cases[] = {
      {R"("a")", R"("a")", true, true},
      {R"("a")", R"("b")", false, false},
      {R"(W/"a")", R"("a")", false, true},
      {R"("a")", R"(W/"a")", false, true},
      {R"(W/"a")", R"(W/"a")", false, true},
      {R"("x", "a")", R"("a")", true, true},
      {R"( "x",W/"y" ,	"a" )", R"("a")", true, true},
      {R"(,, "a")", R"("a")", true, true},
      {R"("x,a", "y")", R"("a")", false, false},
      {R"("a,b")", R"("a,b")", true, true},
      {"*", R"("a")", true, true},
      {" * ", R"("a")", true, true},
      {R"(*, "a")", R"("a")", false, false},
      {"a", R"("a")", false, false},
      {R"("x" "a")", R"("a")", false, false},
      {R"("a)", R"("a")", false, false},
      {R"(w/"a")", R"("a")", false, false},
      {"", R"("a")", false, false},
      {R"("")", R"("")", true, true},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(namesTag(test.header, test.current, TagComparison::strong), test.strong) << test.header;
    EXPECT_EQ(namesTag(test.header, test.current, TagComparison::weak), test.weak) << test.header;
  }
}

TEST(EntityTag, DiffersWithContentAndRevisionAlone) {
  EXPECT_EQ(makeTag(1, "x"), makeTag(1, "x"));
  EXPECT_NE(makeTag(1, "x"), makeTag(2, "x"));
  EXPECT_NE(makeTag(1, "x"), makeTag(1, "y"));
}

TEST_F(ServiceTest, AnswersByPathMethodAndBody) {
  const std::string settings = settingsPath();
  const std::string node = nodePath();
  const struct {
    const char* method;
    std::string target;
    const char* body;
    int status;
  } cases[] = {
      {"GET", settings, "", 200},
      {"GET", settingsPath("c%6Frlane"), "", 200},
      {"GET", settingsPath("c%6rlane"), "", 400},
      {"GET", settingsPath("corlane%"), "", 400},
      {"GET", settingsPath("corlane%20"), "", 404},
      {"GET", settingsPath("other"), "", 404},
      {"GET", settingsPath(""), "", 404},
      {"GET", settings + "/", "", 404},
      {"GET", settings + "?x=1", "", 404},
      {"GET", "/" + settings, "", 404},
      {"GET", "/eu" + settings, "", 404},
      {"GET", "/", "", 404},
      {"GET", node, "", 405},
      {"PUT", settings, "{}", 405},
      {"patch", settings, "", 405},
      {"PATCH", settings, R"({"values": {"common": {"a": 5}}})", 200},
      {"PATCH", settings, R"({"values": {}})", 200},
      {"PATCH", settings, R"({"values": {})", 400},
      {"PATCH", settings, "", 400},
      {"PATCH", settings, R"({"values": []})", 422},
      {"PATCH", settings, R"({"other": {}})", 422},
      {"PATCH", settings, "[]", 422},
      {"PATCH", settingsPath("other"), R"({"values": {}})", 404},
      {"PATCH", node, R"({"pns_id": "device"})", 200},
      {"PATCH", node, R"({"pns_id": ""})", 200},
      {"PATCH", node, R"({"pns_id": 1})", 422},
      {"PATCH", node, "{}", 422},
      {"PATCH", node, "{", 400},
  };
  std::set<std::string> transactions;
  for (const auto& test : cases) {
    const ServiceReply reply = service_.handle(request(test.method, test.target, test.body));
    EXPECT_EQ(reply.status, test.status) << test.method << ' ' << test.target << ' ' << test.body;
    EXPECT_EQ(findHeader(reply.headers, "content-type"), "application/json");
    transactions.insert(findHeader(reply.headers, "x-transaction").value_or(""));
  }
  EXPECT_EQ(transactions.size(), std::size(cases));
  EXPECT_EQ(service_.store().pushIds("corlane"), (std::vector<std::string>{"device", ""}));
}

TEST(ServiceUnderABasePath, LivesThereAlone) {
  Service service({.basePath = "/eu/west"});
  ASSERT_TRUE(service.store().setDocument("corlane", *parsed(smallDocument).map()));
  EXPECT_EQ(service.handle(request("GET", "/eu/west" + settingsPath())).status, 200);
  EXPECT_EQ(service.handle(request("GET", "/eu/west/" + settingsPath())).status, 404);
  EXPECT_EQ(service.handle(request("GET", settingsPath())).status, 404);
}

TEST(ServiceTokens, AreCheckedBeforeTheProduct) {
  const struct {
    std::set<std::string, std::less<>> accepted;
    Headers headers;
    bool authorized;
  } cases[] = {
      {{}, {}, false},
      {{}, {{"Authorization", "Bearer "}}, false},
      {{}, {{"Authorization", "Basic abc"}}, false},
      {{}, {{"Authorization", "Bearer anything"}}, true},
      {{"one", "two"}, {{"authorization", "bearer two"}}, true},
      {{"one", "two"}, {{"Authorization", "Bearer three"}}, false},
      {{"one"}, {{"Authorization", "Bearer one "}}, false},
      {{"one"}, {{"Authorization", "Bearer one"}, {"Authorization", "Bearer one"}}, false},
  };
  for (const auto& test : cases) {
    Service service({.tokens = test.accepted});
    const std::string description = test.headers.empty() ? "no header" : test.headers.front().second;
    const ServiceReply reply = service.handle({"GET", settingsPath("unknown"), test.headers, ""});
    EXPECT_EQ(reply.status, test.authorized ? 404 : 401) << description;
    EXPECT_EQ(findHeader(reply.headers, "WWW-Authenticate").has_value(), !test.authorized) << description;
  }
}

TEST_F(ServiceTest, GivesTheDocumentOnceForItsTag) {
  const ServiceReply first = get();
  EXPECT_EQ(parsed(first.body), parsed(smallDocument));
  EXPECT_EQ(first.headers.front().first, "Etag");

  const ServiceReply second = get({{"If-None-Match", "W/" + tagOf(first)}});
  EXPECT_EQ(second.status, 304);
  EXPECT_EQ(second.body, "");
  EXPECT_EQ(tagOf(second), tagOf(first));

  const ServiceReply patched = patch(R"({"values": {"common": {"a": 3}}})");
  EXPECT_NE(tagOf(patched), tagOf(first));
  const ServiceReply third = get({{"If-None-Match", tagOf(first)}});
  EXPECT_EQ(third.status, 200);
  EXPECT_EQ(tagOf(third), tagOf(patched));
}

TEST_F(ServiceTest, MergesChangesKeyByKey) {
  const struct {
    const char* changes;
    const char* expected;
  } cases[] = {
      {R"({"common": {"group": {"c": 3}}})", R"({"common": {"a": 1, "group": {"b": 2, "c": 3}}})"},
      {R"({"common": {"a": {"deep": true}}})", R"({"common": {"a": {"deep": true}, "group": {"b": 2, "c": 3}}})"},
      {R"({"common": {"group": null}, "macos": {"x": []}})",
       R"({"common": {"a": {"deep": true}, "group": null}, "macos": {"x": []}})"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(patch(std::string(R"({"values": )") + test.changes + "}").status, 200);
    EXPECT_EQ(values(), parsed(test.expected)) << test.changes;
  }
  EXPECT_EQ(*parsed(get().body).map()->find("data")->map()->find("values"), values());
}

TEST_F(ServiceTest, AppliesAChangeOnlyToTheTagItWasMadeFor) {
  const std::string body = R"({"values": {"common": {"a": 7}}})";
  const std::string old = tagOf(get());
  EXPECT_EQ(patch(R"({"values": {"common": {"a": 6}}})", {{"If-Match", old}}).status, 200);
  const std::string current = tagOf(get());
  for (const std::string& condition : {old, "W/" + current, std::string("unquoted")}) {
    const ServiceReply refused = patch(body, {{"If-Match", condition}});
    EXPECT_EQ(refused.status, 412) << condition;
    EXPECT_EQ(values().map()->find("common")->map()->find("a")->integer(), 6);
  }
  EXPECT_EQ(tagOf(get()), current);
  EXPECT_EQ(patch(body, {{"If-Match", old}, {"If-Match", current}}).status, 200);
  EXPECT_EQ(patch(body, {{"If-Match", "*"}}).status, 200);
  EXPECT_EQ(patch(body).status, 200);
}

TEST_F(ServiceTest, RemembersRequestsAndShowsNoToken) {
  (void)get({{"If-None-Match", "\"x\""}});
  (void)patch("{");
  const auto entries = service_.log().entries();
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(findHeader(entries[0].request.headers, "Authorization"), "Bearer secret");
  EXPECT_EQ(entries[1].status, 400);
  const std::string shown = json::write(describe(entries[0])).value_or("");
  EXPECT_NE(shown.find(R"(\"x\")"), std::string::npos) << shown;
  EXPECT_EQ(shown.find("secret"), std::string::npos) << shown;
}

TEST(RequestLog, KeepsTheNewest) {
  RequestLog log(2);
  for (const char* name : {"t1", "t2", "t3"}) log.add({name, {}, 200, Drop::never});
  EXPECT_EQ(log.count(), 3U);
  ASSERT_EQ(log.entries().size(), 2U);
  EXPECT_EQ(log.entries().front().transaction, "t2");
}

}  // namespace
}  // namespace qlczephra::service
