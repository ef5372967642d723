// The error object that completions receive.
//
// An error is immutable and shared; it is handed on by identity: the object that an authentication delegate or a URL
// provider gave is the very object that the host's completion receives. Hosts may derive from Error to carry more.
//
// Threads: immutable after construction, so any thread may read it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "qlczephra/export.h"

namespace qlczephra {

class QLCZEPHRA_EXPORT Error {
 public:
  // `domain` says who defines `code`, a reverse-DNS name. `description` is text for people, if there is any.
  Error(std::string domain, std::int64_t code, std::optional<std::string> description = std::nullopt);
  virtual ~Error();
  Error(const Error&) = delete;
  Error& operator=(const Error&) = delete;

  [[nodiscard]] const std::string& domain() const noexcept { return domain_; }
  [[nodiscard]] std::int64_t code() const noexcept { return code_; }
  [[nodiscard]] const std::optional<std::string>& description() const noexcept { return description_; }

  // One line for logs: "<domain> error <code>", followed by ": <description>" when there is one.
  [[nodiscard]] std::string text() const;

 private:
  std::string domain_;
  std::int64_t code_;
  std::optional<std::string> description_;
};

// Null stands for "no error".
using ErrorRef = std::shared_ptr<const Error>;

// Ends an operation that talks to the service; called with null for success.
using Completion = std::function<void(const ErrorRef& error)>;

}  // namespace qlczephra
