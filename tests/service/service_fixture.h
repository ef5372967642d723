// A service with one small document, and requests to it in the protocol's own words.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "platform/json/json.h"
#include "service/service.h"

namespace qlczephra::service {

inline Value parsed(std::string_view text) {
  const auto read = json::read(text);
  const auto* value = std::get_if<Value>(&read);
  EXPECT_NE(value, nullptr) << text;
  return value == nullptr ? Value() : *value;
}

inline constexpr std::string_view smallDocument =
    R"({"data": {"eff_schema": {"common": {"properties": {}}}, "values": {"common": {"a": 1, "group": {"b": 2}}}}})";

inline std::string settingsPath(const std::string& product = "corlane") {
  return "/zephra/client-api/v3/clients/me/products/" + product + "/settings";
}

inline std::string nodePath() {
  return "/zephra/client-api/v3/clients/me/products/corlane/node";
}

inline ServiceRequest request(std::string method, std::string target, std::string body = {}, Headers more = {}) {
  more.emplace_back("Authorization", "Bearer secret");
  return {std::move(method), std::move(target), std::move(more), std::move(body)};
}

inline std::string tagOf(const ServiceReply& reply) {
  return findHeader(reply.headers, "Etag").value_or("");
}

class ServiceTest : public testing::Test {
 protected:
  explicit ServiceTest(ServiceOptions options = {}) : service_(std::move(options)) {
    EXPECT_TRUE(service_.store().setDocument("corlane", *parsed(smallDocument).map()));
  }

  ServiceReply get(Headers headers = {}) {
    return service_.handle(request("GET", settingsPath(), "", std::move(headers)));
  }
  ServiceReply patch(std::string body, Headers headers = {}) {
    return service_.handle(request("PATCH", settingsPath(), std::move(body), std::move(headers)));
  }
  Value values() { return service_.store().values("corlane").value_or(Map()); }
  void givenFaults(std::string_view json) {
    auto faults = parseFaults(parsed(json));
    ASSERT_TRUE(std::holds_alternative<std::vector<Fault>>(faults)) << std::get<FaultError>(faults).reason;
    service_.faults().add(std::get<std::vector<Fault>>(faults));
  }

  Service service_;
};

}  // namespace qlczephra::service
