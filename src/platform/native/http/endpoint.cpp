#include "platform/native/http/endpoint.h"

#include <arpa/inet.h>
#include <curl/curl.h>

#include <array>
#include <charconv>
#include <memory>

namespace qlczephra::platform {
namespace {

struct UrlDeleter {
  void operator()(CURLU* url) const noexcept { curl_url_cleanup(url); }
};

std::optional<std::string> part(CURLU* url, CURLUPart which, unsigned flags) {
  char* text = nullptr;
  if (curl_url_get(url, which, &text, flags) != CURLUE_OK) return std::nullopt;
  std::string copy(text);
  curl_free(text);
  return copy;
}

bool isAddress(const std::string& host) {
  std::array<unsigned char, sizeof(in6_addr)> bytes{};
  return ::inet_pton(AF_INET, host.c_str(), bytes.data()) == 1 ||
         ::inet_pton(AF_INET6, host.c_str(), bytes.data()) == 1;
}

}  // namespace

std::optional<Endpoint> parseEndpoint(const std::string& url) {
  // curl would stop at a NUL and see another URL.
  if (url.find('\0') != std::string::npos) return std::nullopt;
  const std::unique_ptr<CURLU, UrlDeleter> parsed(curl_url());
  if (!parsed || curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), CURLU_PATH_AS_IS) != CURLUE_OK) {
    return std::nullopt;
  }
  const auto scheme = part(parsed.get(), CURLUPART_SCHEME, 0);
  auto host = part(parsed.get(), CURLUPART_HOST, CURLU_PUNYCODE);
  const auto port = part(parsed.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT);
  if (!scheme || !host || host->empty() || !port) return std::nullopt;
  if (*scheme != "http" && *scheme != "https") return std::nullopt;

  Endpoint endpoint;
  endpoint.secure = *scheme == "https";
  const auto [end, error] = std::from_chars(port->data(), port->data() + port->size(), endpoint.port);
  if (error != std::errc() || end != port->data() + port->size()) return std::nullopt;
  if (host->front() == '[') *host = host->substr(1, host->size() - 2);
  endpoint.numeric = isAddress(*host);
  endpoint.host = std::move(*host);
  return endpoint;
}

}  // namespace qlczephra::platform
