#include "qlczephra/network_request.h"

#include <algorithm>
#include <new>
#include <string>
#include <utility>
#include <variant>

#include "platform/host_call.h"
#include "platform/json/json.h"
#include "platform/platform.h"
#include "platform/secret.h"
#include "text/ascii.h"
#include "transport/header_rules.h"
#include "transport/service_url.h"

namespace qlczephra {

namespace {

using platform::HttpOutcome;

const std::string* headerValue(const platform::HeaderList& headers, std::string_view name) {
  const auto found = std::find_if(headers.begin(), headers.end(),
                                  [&](const auto& header) { return ascii::equalIgnoringCase(header.first, name); });
  return found == headers.end() ? nullptr : &found->second;
}

// Why a request cannot be sent, in words; null when it can.
const char* whyNotSendable(const std::string& url, const std::string& method, const HeaderMap& headers) {
  if (!transport::isSendableURL(url)) return "no http or https URL could be formed";
  if (!transport::isToken(method)) return "the method is no HTTP token";
  for (const auto& [name, value] : headers) {
    if (!transport::isToken(name) || !transport::isFieldValue(value)) return "a header field holds a control character";
  }
  return nullptr;
}

// The JSON object of a reply. Anything else is none, which is no failure here; only a body that the limits refuse is
// worth a line, since nobody could tell otherwise why a whole reply had no effect.
std::optional<Map> decodeBody(platform::Platform& platform, const std::string& body) try {
  auto decoded = json::read(body);
  if (const auto* error = std::get_if<json::ReadError>(&decoded)) {
    if (error->exceedsLimit) platform.log().process("QLMNetworkRequest: Error " + error->reason);
    return std::nullopt;
  }
  const Map* object = std::get<Value>(decoded).map();
  return object == nullptr ? std::nullopt : std::optional(*object);
} catch (const std::bad_alloc&) {
  platform.log().process("QLMNetworkRequest: Error no memory for the reply");
  return std::nullopt;
}

// The header fields of a call with a token and without header fields of its own in their place.
HeaderMap withToken(HeaderMap headers, std::string_view ccrToken) {
  headers.emplace("Authorization", std::string("Bearer ").append(ccrToken));
  headers.emplace("Content-Type", "application/json");
  return headers;
}

// The transaction id of a reply as a log line shows it: 64 visible ASCII characters at most, others as "?". "unknown"
// for a reply without one, and for one that contains the token.
std::string shownTransaction(const platform::HeaderList& headers, std::string_view token) {
  constexpr std::size_t longest = 64;
  const std::string* transaction = headerValue(headers, "x-transaction");
  if (transaction == nullptr || (!token.empty() && transaction->find(token) != std::string::npos)) return "unknown";
  std::string shown = transaction->substr(0, longest);
  std::replace_if(
      shown.begin(), shown.end(), [](char c) { return c <= ' ' || c >= 0x7F; }, '?');
  return shown;
}

// The bearer token of a request (RFC 6750), for looking whether a reply echoes it.
platform::Secret tokenOf(const HeaderMap& headers) {
  constexpr std::string_view scheme = "Bearer ";
  const auto field = headers.find("Authorization");
  if (field == headers.end() || !field->second.starts_with(scheme)) return {};
  return platform::Secret(field->second.substr(scheme.size()));
}

// What a completion is given besides the body.
struct ReplyFacts {
  int status = 0;
  std::optional<std::string> eTag;
  std::optional<QLMError> error = QLMError::networkError;
};

// Writes the log line of a reply and returns what it says.
ReplyFacts readReply(platform::Platform& platform, const HttpOutcome& outcome, const platform::Secret& token) {
  const platform::HttpReplyHead& head = *outcome.head;
  const std::string transactionText = shownTransaction(head.headers, token.text());
  if (outcome.failure) {
    platform.log().process("QLMNetworkRequest: Error " + *outcome.failure + " Transaction " + transactionText);
    return {head.status, std::nullopt, QLMError::networkError};
  }
  const std::string* eTag = headerValue(head.headers, "Etag");
  if (head.status < 200 || head.status > 299) {
    platform.log().process("QLMNetworkRequest: Status " + std::to_string(head.status) + " Transaction " +
                           transactionText);
  }
  return {head.status, eTag == nullptr ? std::nullopt : std::optional(*eTag), std::nullopt};
}

template <typename TextCompletion>
void handleOutcome(platform::Platform& platform, const HttpOutcome& outcome, const platform::Secret& token,
                   const TextCompletion& complete) {
  if (!outcome.head) {
    complete({}, 0, std::nullopt, QLMError::networkError);
    platform.log().process("QLMNetworkRequest: Error " + outcome.failure.value_or("unknown") +
                           " Unexpected response type.");
    return;
  }
  ReplyFacts facts;
  try {
    facts = readReply(platform, outcome, token);
  } catch (const std::exception&) {  // no memory: as if no reply had come
    platform.log().process("qlczephra: a reply could not be read for want of memory");
  }
  static const std::string nothing;
  complete(facts.error ? nothing : outcome.body, facts.status, std::move(facts.eTag), facts.error);
}

}  // namespace

bool HeaderNameLess::operator()(std::string_view left, std::string_view right) const noexcept {
  return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                      [](char a, char b) { return ascii::lowered(a) < ascii::lowered(b); });
}

QLCNetworkRequest::QLCNetworkRequest() : QLCNetworkRequest(platform::nativePlatform()) {}

QLCNetworkRequest::QLCNetworkRequest(platform::Platform& platform)
    : platform_(platform), pmCertificatesHandler_(QLCPMCertificatesHandler::instance()) {}

QLCNetworkRequest::~QLCNetworkRequest() = default;

void QLCNetworkRequest::request(const std::string& url, const std::string& method,
                                const std::optional<HeaderMap>& headers, const std::string& ccrToken,
                                const std::optional<Map>& params, RequestCompletion completion) {
  HeaderMap merged = withToken(headers.value_or(HeaderMap()), ccrToken);
  request(url, method, merged, params, std::move(completion));
  for (auto& field : merged) platform::wipe(field.second);
}

void QLCNetworkRequest::request(const std::string& url, const std::string& method, const HeaderMap& headers,
                                const std::optional<Map>& params, RequestCompletion completion) {
  requestText(url, method, headers, params,
              [&platform = platform_, completion = std::move(completion)](
                  const std::string& text, int status, std::optional<std::string> eTag, std::optional<QLMError> error) {
                std::optional<Map> body = decodeBody(platform, text);
                platform::callHost(platform, "a request completion",
                                   [&] { completion(std::move(body), status, std::move(eTag), error); });
              });
}

void QLCNetworkRequest::requestText(const std::string& url, const std::string& method, const HeaderMap& headers,
                                    std::string_view ccrToken, const std::optional<Map>& params,
                                    TextCompletion completion) {
  HeaderMap merged = withToken(headers, ccrToken);
  requestText(url, method, merged, params, std::move(completion));
  for (auto& field : merged) platform::wipe(field.second);
}

void QLCNetworkRequest::requestText(const std::string& url, const std::string& method, const HeaderMap& headers,
                                    const std::optional<Map>& params, TextCompletion completion) {
  const bool isPatch = method == "PATCH";
  if (isPatch && !params) {
    completion({}, 0, std::nullopt, QLMError::noParams);
    return;
  }
  if (const char* reason = whyNotSendable(url, method, headers)) {
    platform_.log().process(std::string("QLMNetworkRequest: Error Not sent: ") + reason);
    platform_.workers().post([completion = std::move(completion)] { completion({}, 0, std::nullopt, std::nullopt); });
    return;
  }

  platform::HttpRequest request;
  request.url = url;
  request.method = method;
  if (isPatch) request.body = json::write(Value(*params));
  request.headers.assign(headers.begin(), headers.end());
  request.certificatesHandler = pmCertificatesHandler_;

  const auto userAgent = headers.find("User-Agent");
  const std::string line = "QLCNetworkRequest will use User-Agent: " +
                           (userAgent == headers.end() ? std::string("no User-Agent") : userAgent->second);
  platform_.log().write({LogDestination::platformDefault, LogLevel::info, {}, {}, line});

  platform_.http().send(std::move(request),
                        [&platform = platform_, token = tokenOf(headers), completion = std::move(completion)](
                            const HttpOutcome& outcome) { handleOutcome(platform, outcome, token, completion); });
}

}  // namespace qlczephra
