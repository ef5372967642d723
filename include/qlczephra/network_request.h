// One HTTP request with JSON bodies.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "qlczephra/certificates_handler.h"
#include "qlczephra/export.h"
#include "qlczephra/value.h"

namespace qlczephra {

namespace platform {
class Platform;
}
class ServiceCall;

// What kept a request from getting an HTTP reply.
enum class QLMError : std::uint8_t {
  noParams,      // a PATCH without parameters; nothing was sent
  networkError,  // the transfer failed, or what came back was not HTTP
};

// Orders header names without regard to ASCII case (RFC 9110 section 5.1).
struct QLCZEPHRA_EXPORT HeaderNameLess {
  using is_transparent = void;
  bool operator()(std::string_view left, std::string_view right) const noexcept;
};
using HeaderMap = std::map<std::string, std::string, HeaderNameLess>;

// `body` is the decoded reply if that is a JSON object; `status` the HTTP status, 0 without an HTTP reply; `eTag` the
// value of the reply's "Etag" header, byte for byte; `error` none when an HTTP reply arrived whole.
using RequestCompletion = std::function<void(std::optional<Map> body, int status, std::optional<std::string> eTag,
                                             std::optional<QLMError> error)>;

// Sends requests and hands on their outcomes; no status is a failure here. Requests of one object may run at the same
// time; connections are kept and shared by all objects that took the same certificates handler.
//
// Redirects are not followed, and no cookies, caches, proxies, .netrc or environment variables used. gzip and deflate
// bodies are decoded. A transfer fails when nothing moves for 10 seconds, in whatever stage, or when the reply decodes
// to more than 64 MiB.
//
// Threads: any. Completions run once, on a queue of their own, never before the call has returned, with the one
// exception named below. A request goes on when its object is destroyed.
class QLCZEPHRA_EXPORT QLCNetworkRequest {
 public:
  // Takes the shared QLCPMCertificatesHandler::instance() as the authority on server certificates.
  QLCNetworkRequest();
  // For the library's own use: as above, on the given platform, which must outlive the object.
  explicit QLCNetworkRequest(platform::Platform& platform);
  virtual ~QLCNetworkRequest();
  QLCNetworkRequest(const QLCNetworkRequest&) = delete;
  QLCNetworkRequest& operator=(const QLCNetworkRequest&) = delete;

  // `headers` are all the header fields of the request. When the method is exactly "PATCH", `params` is sent as compact
  // JSON; without `params` nothing is sent and the completion runs with `noParams` before the call returns. With any
  // other method `params` is ignored. Parameters that JSON cannot hold are left out and the request goes without a
  // body.
  //
  // What cannot be sent (a URL that is no http or https URL, a line break or NUL in a method, header name or value)
  // completes with (none, 0, none, none).
  virtual void request(const std::string& url, const std::string& method, const HeaderMap& headers,
                       const std::optional<Map>& params, RequestCompletion completion);

  // As above with "Authorization: Bearer <ccrToken>" and "Content-Type: application/json" added; of a name in both, the
  // caller's value wins.
  virtual void request(const std::string& url, const std::string& method, const std::optional<HeaderMap>& headers,
                       const std::string& ccrToken, const std::optional<Map>& params, RequestCompletion completion);

 private:
  friend class ServiceCall;
  // The body as it came, whatever it is; empty without an HTTP reply.
  using TextCompletion = std::function<void(const std::string& body, int status, std::optional<std::string> eTag,
                                            std::optional<QLMError> error)>;
  // As the two above, without decoding the body; `completion` must not throw.
  void requestText(const std::string& url, const std::string& method, const HeaderMap& headers,
                   const std::optional<Map>& params, TextCompletion completion);
  void requestText(const std::string& url, const std::string& method, const HeaderMap& headers,
                   std::string_view ccrToken, const std::optional<Map>& params, TextCompletion completion);

  platform::Platform& platform_;
  const std::shared_ptr<QLCPMCertificatesHandler> pmCertificatesHandler_;
};

}  // namespace qlczephra
