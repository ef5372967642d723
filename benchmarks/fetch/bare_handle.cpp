#include "benchmarks/fetch/bare_handle.h"

#include <strings.h>

#include <string_view>
#include <utility>

#include "benchmarks/fetch/host.h"
#include "benchmarks/support/require.h"

namespace qlczephra::bench {

BareRequest::BareRequest(const std::string& base, const std::string& product, std::string trustedBundle)
    : url(QLCAppInfo(product, userAgent).zephraSettingsURL(base)), bundle(std::move(trustedBundle)) {
  curl_slist* list = nullptr;
  for (const std::string& line :
       {"Authorization: Bearer " + std::string(token), std::string("Content-Type: application/json"),
        "User-Agent: " + std::string(userAgent), std::string("Accept:")}) {
    list = curl_slist_append(list, line.c_str());
  }
  headers.reset(list, curl_slist_free_all);
}

BareHandle::BareHandle(const BareRequest& request) : request_(request), easy_(curl_easy_init()) {
  CURL* const curl = easy_.get();
  require(curl != nullptr, "no easy handle");
  curl_easy_setopt(curl, CURLOPT_URL, request_.url.c_str());
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, request_.headers.get());
  curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  curl_easy_setopt(curl, CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_PROXY, "");
  curl_easy_setopt(curl, CURLOPT_CAINFO, request_.bundle.c_str());
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &BareHandle::onBody);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, static_cast<void*>(this));
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &BareHandle::onHeader);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, static_cast<void*>(this));
  curl_easy_setopt(curl, CURLOPT_PRIVATE, static_cast<void*>(this));
}

const std::string& BareHandle::get() {
  clear();
  check(curl_easy_perform(easy_.get()));
  return body_;
}

void BareHandle::clear() {
  body_.clear();
  tag_.clear();
}

void BareHandle::check(CURLcode code) const {
  long status = 0;
  curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &status);
  require(code == CURLE_OK && status == 200 && !body_.empty() && !tag_.empty(),
          std::string("a bare request failed: ") + curl_easy_strerror(code));
}

std::size_t BareHandle::onBody(char* data, std::size_t size, std::size_t count, void* self) {
  static_cast<BareHandle*>(self)->body_.append(data, size * count);
  return size * count;
}

std::size_t BareHandle::onHeader(char* data, std::size_t size, std::size_t count, void* self) {
  constexpr std::string_view name = "etag:";
  const std::string_view line(data, size * count);
  if (line.size() > name.size() && strncasecmp(data, name.data(), name.size()) == 0) {
    static_cast<BareHandle*>(self)->tag_ = line.substr(name.size());
  }
  return size * count;
}

}  // namespace qlczephra::bench
