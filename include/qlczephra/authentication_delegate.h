// The host's source of CCR tokens.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "qlczephra/error.h"

namespace qlczephra {

class QLCZEPHRA_EXPORT QLCZephraAuthenticationDelegate {
 public:
  // An opaque bearer token (RFC 6750), or an error.
  using CredentialsCallback = std::function<void(std::optional<std::string> token, ErrorRef error)>;

  virtual ~QLCZephraAuthenticationDelegate();

  // Asked when a call to the service finds no cached token. The callback is to be called once, at once or later, on any
  // thread: with a token, or with an error, which reaches the completion of the call unchanged (of both, the error
  // counts; with neither, the call ends with `unauthorized`). A second call is ignored. While no answer comes the call
  // stays open; an exception counts as no answer.
  //
  // Called on the manager's request queue, with no lock held.
  virtual void getCCRCredentials(CredentialsCallback callback) = 0;
};

}  // namespace qlczephra
