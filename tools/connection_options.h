// The options that name a service and what a manager needs to talk to it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "qlczephra/manager.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace qlczephra::tools {

// A manager together with the host objects that it needs alive.
struct Host {
  std::shared_ptr<QLCZephraAuthenticationDelegate> delegate;
  std::unique_ptr<QLCZephraManager> manager;
};

// A manager whose host answers with this URL and this token. Keeps no files until it is given paths.
[[nodiscard]] Host makeHost(const std::string& url, const std::string& product, const std::string& userAgent,
                            const std::string& token);

class ConnectionOptions {
 public:
  // Returns the option --service, which all others need.
  CLI::Option* addTo(CLI::App& command);

  [[nodiscard]] bool given() const { return !service_.empty(); }
  [[nodiscard]] const std::string& service() const { return service_; }
  // What a message calls the settings that come from there.
  [[nodiscard]] std::string what() const { return "the settings of product " + product_ + " from " + service_; }

  // The token is read here, from where the options say. Failure or Misuse when the options give no usable manager.
  [[nodiscard]] Host connect() const;

 private:
  [[nodiscard]] std::string token() const;

  std::string service_;
  std::string product_;
  std::string token_;
  std::string tokenFile_;
  bool tokenFromInput_ = false;
  std::string userAgent_ = "qlczephra/1.0";
  std::string authorityFile_;
  std::optional<std::int64_t> uid_;
  std::optional<std::string> localFile_;
  std::optional<std::string> patchFile_;
};

}  // namespace qlczephra::tools
