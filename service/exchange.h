// One request to the service and its reply, as plain data: what a socket server, a simulated network or a test hands in
// and carries out.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qlczephra::service {

using Headers = std::vector<std::pair<std::string, std::string>>;

// The value of the header `name` (case does not matter); several lines of one name are joined by ", " as HTTP allows
// for lists. None when there is no such line.
[[nodiscard]] std::optional<std::string> findHeader(const Headers& headers, std::string_view name);

// Replaces every line of that name by one.
void setHeader(Headers& headers, std::string_view name, std::string value);
void removeHeader(Headers& headers, std::string_view name);

struct ServiceRequest {
  std::string method;
  std::string target;  // path and query as they stood in the request line, percent-encoding untouched
  Headers headers;
  std::string body;
};

// Where the transport breaks the connection instead of delivering the whole reply.
enum class Drop : std::uint8_t { never, beforeHeaders, afterHeaders, midBody };

struct ServiceReply {
  int status = 200;
  Headers headers;  // without Content-Length, which is the transport's business
  std::string body;
  std::chrono::milliseconds delay{0};  // how long the transport holds the reply back
  Drop drop = Drop::never;
};

// A reply that tells what was wrong: {"error": reason}.
[[nodiscard]] ServiceReply errorReply(int status, std::string_view reason);

}  // namespace qlczephra::service
