// The same GET as a manager's, by libcurl alone.
#pragma once

#include <curl/curl.h>

#include <memory>
#include <string>

namespace qlczephra::bench {

// What is asked for, with all that a request of a manager says.
struct BareRequest {
  BareRequest(const std::string& base, const std::string& product, std::string trustedBundle);

  std::string url;
  std::string bundle;
  std::shared_ptr<curl_slist> headers;
};

// One easy handle. The reply's body is collected and its header seen, as anybody needs it.
class BareHandle {
 public:
  explicit BareHandle(const BareRequest& request);
  BareHandle(const BareHandle&) = delete;
  BareHandle& operator=(const BareHandle&) = delete;

  // Sends the request and waits for the reply; ends the program without a 200.
  const std::string& get();

  // For a multi handle: `clear` before, `check` after a transfer.
  [[nodiscard]] CURL* easy() const { return easy_.get(); }
  void clear();
  void check(CURLcode code) const;
  [[nodiscard]] const std::string& body() const { return body_; }

 private:
  struct Deleter {
    void operator()(CURL* easy) const noexcept { curl_easy_cleanup(easy); }
  };
  static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self);
  static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self);

  const BareRequest& request_;
  std::unique_ptr<CURL, Deleter> easy_;
  std::string body_;
  std::string tag_;
};

}  // namespace qlczephra::bench
