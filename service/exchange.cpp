#include "service/exchange.h"

#include <strings.h>

#include "platform/json/json.h"

namespace qlczephra::service {
namespace {

bool isNamed(const std::pair<std::string, std::string>& header, std::string_view name) {
  return header.first.size() == name.size() && strncasecmp(header.first.data(), name.data(), name.size()) == 0;
}

}  // namespace

std::optional<std::string> findHeader(const Headers& headers, std::string_view name) {
  std::optional<std::string> result;
  for (const auto& header : headers) {
    if (!isNamed(header, name)) continue;
    result = result ? *result + ", " + header.second : header.second;
  }
  return result;
}

void setHeader(Headers& headers, std::string_view name, std::string value) {
  removeHeader(headers, name);
  headers.emplace_back(name, std::move(value));
}

void removeHeader(Headers& headers, std::string_view name) {
  std::erase_if(headers, [name](const auto& header) { return isNamed(header, name); });
}

ServiceReply errorReply(int status, std::string_view reason) {
  ServiceReply reply;
  reply.status = status;
  reply.headers = {{"Content-Type", "application/json"}};
  reply.body = json::write(Value(Map{{"error", reason}})).value_or("{}");
  return reply;
}

}  // namespace qlczephra::service
