// Who the host is, and the service URLs that follow from it.
#pragma once

#include <memory>
#include <string>

#include "qlczephra/export.h"

namespace qlczephra {

// Product name and User-Agent of the host. A manager keeps one record for its whole life and reads it each time it
// builds a request, so a change applies from the next request on.
//
// Threads: every operation may be called from any thread, also while requests are being built.
class QLCZEPHRA_EXPORT QLCAppInfo {
 public:
  // `productName` becomes one path component of every service URL, `userAgent` the value of the User-Agent header
  // (RFC 9110 section 10.1.5). A User-Agent with a line break or a NUL cannot be sent: calls then end with
  // `unexpectedResponse` and no request is made.
  QLCAppInfo(std::string productName, std::string userAgent);
  virtual ~QLCAppInfo();
  QLCAppInfo(const QLCAppInfo&) = delete;
  QLCAppInfo& operator=(const QLCAppInfo&) = delete;

  [[nodiscard]] virtual std::string productName() const;
  virtual void setProductName(std::string productName);
  [[nodiscard]] virtual std::string userAgent() const;
  virtual void setUserAgent(std::string userAgent);

  // `base` with "zephra/client-api/v3/clients/me/products", the product name and "settings" or "node" appended, one "/"
  // between them, and the query and fragment of `base` dropped. Characters of the product name that RFC 3986 does not
  // allow in a path segment are percent-encoded, "/" among them: a product name is one segment. Empty when there is no
  // such URL: `base` is no http or https URL with a host, or the product name is empty, "." or "..".
  [[nodiscard]] virtual std::string zephraSettingsURL(const std::string& base) const;
  [[nodiscard]] virtual std::string zephraNodeURL(const std::string& base) const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace qlczephra
