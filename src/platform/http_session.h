// One HTTP exchange at a time, as many at once as there are requests.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "qlczephra/certificates_handler.h"

namespace qlczephra::platform {

using HeaderList = std::vector<std::pair<std::string, std::string>>;

struct HttpRequest {
  std::string url;     // http or https, used as it stands
  std::string method;  // sent as it stands
  // Sent in this order, those without a value too. Fields that are the protocol's own business (Host, Content-Length,
  // Transfer-Encoding, Connection, Accept-Encoding, Expect, ...) are left out: the session sends its own.
  HeaderList headers;
  std::optional<std::string> body;
  std::chrono::milliseconds longestWait{10000};                   // without any progress, in whatever stage
  std::chrono::milliseconds longestDuration{10 * 60 * 1000};      // of all stages, however well they go
  std::shared_ptr<QLCPMCertificatesHandler> certificatesHandler;  // null: the platform's evaluation
};

struct HttpReplyHead {
  int status = 0;
  HeaderList headers;  // of the final reply; names as the server wrote them, values without surrounding blanks
};

// A transfer that failed after the final status line came has both `head` (with the fields that had come) and
// `failure`.
struct HttpOutcome {
  std::optional<HttpReplyHead> head;
  std::string body;                    // decoded; of use only without a failure
  std::optional<std::string> failure;  // why the transfer failed, for people
};

using HttpCompletion = std::function<void(HttpOutcome)>;

class HttpSession {
 public:
  virtual ~HttpSession() = default;
  // Returns at once. The completion runs once, on a queue of its own, never on the caller's stack; not at all when the
  // process ends first. Redirects are not followed, and cookies, caches, proxies and .netrc not used. Bodies that
  // decode to more than `maximumBodySize` fail the transfer, and so do replies of more than `maximumReplySize`.
  virtual void send(HttpRequest request, HttpCompletion completion) = 0;
};

inline constexpr std::size_t maximumBodySize = std::size_t{64} * 1024 * 1024;
// Bytes on the wire for one reply: a body, and room for its framing and encryption.
inline constexpr std::size_t maximumReplySize = std::size_t{80} * 1024 * 1024;

}  // namespace qlczephra::platform
