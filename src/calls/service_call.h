// ServiceCall: one call to the service, from the token to its end, repetitions included.
//
// The way of a call: token (cached, or asked of the delegate) on the request queue; the service's URL, asked of the
// host for each attempt; the request; the meaning of the reply's status; then the end, a repetition after a back-off,
// or what a kind of call does instead. The kinds say which request it is and what its success means.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "calls/client.h"
#include "platform/secret.h"
#include "qlczephra/app_info.h"
#include "qlczephra/error.h"
#include "qlczephra/log.h"
#include "qlczephra/network_request.h"
#include "qlczephra/value.h"

namespace qlczephra {

// Steps of one call follow each other, each on whatever thread; no two run at once. The client owns the call until it
// has ended. A step for which there is no memory ends the call with `unexpectedResponse` (status 0).
class ServiceCall : public std::enable_shared_from_this<ServiceCall> {
 public:
  virtual ~ServiceCall() = default;
  ServiceCall(const ServiceCall&) = delete;
  ServiceCall& operator=(const ServiceCall&) = delete;

  // Begins with the token. Returns at once. Throws, and nothing has begun, when there is no memory. Without a thread to
  // be had the call ends at once with `unexpectedResponse` (status 0), on this thread.
  static void begin(const std::shared_ptr<ServiceCall>& call);

 protected:
  // Texts of a call's log lines. The delay in seconds and " seconds" follow `repetition`.
  struct Wording {
    std::string_view attempt;
    std::string_view repetition;
    LogLevel level;         // of the lines about a repetition
    bool tellsOfRepeating;  // when the delay is over
  };
  struct Target {
    const char* method;
    std::string (QLCAppInfo::*url)(const std::string& base) const;
  };

  ServiceCall(const std::shared_ptr<Client>& client, Wording wording, Target target,
              std::optional<platform::Secret> token = std::nullopt);

  // ---- what the kinds say
  // Returns false when the call is not to go on; it then ends without a word.
  virtual bool isWanted(Client& /*client*/) { return true; }
  // Adds the condition of a request. Called for each attempt.
  virtual void addCondition(Client& /*client*/, HeaderMap& /*headers*/) {}
  // Returns the JSON object to send. Called for each attempt, when the URL is known.
  virtual std::optional<Map> body(Client& /*client*/) { return std::nullopt; }
  // What a transfer keeps alive while it runs, also when the manager is gone.
  virtual std::shared_ptr<const void> heldByTransfer() const { return nullptr; }
  // The host is asked for a token or a URL.
  virtual void hostIsAsked(Client& /*client*/) {}
  // Applies a reply of 2xx; returns the error that ends the call.
  virtual ErrorRef apply(Client& client, const std::string& body, std::optional<std::string> eTag) = 0;
  virtual void notModified(Client& client) { finish(client, nullptr); }
  // Goes on after 400 or 412; returns false when the call ends with an error instead.
  virtual bool recover(Client& /*client*/, int /*status*/) { return false; }
  // A reply with this status is going to be repeated.
  virtual void beforeRepetition(int /*status*/) {}
  // Ends: log lines, then what the call holds and the host's completion. Only the lines may need memory.
  virtual void logEnd(Client& /*client*/, const ErrorRef& /*error*/) {}
  virtual void end(Client& client, const ErrorRef& error) noexcept = 0;

  // ---- what they use
  // Sends the request once more, at once or later.
  void attempt(Client& client);
  void repeatAfter(Client& client, std::int64_t seconds);
  // Ends the call, once.
  void finish(Client& client, const ErrorRef& error) noexcept;
  [[nodiscard]] const std::optional<platform::Secret>& token() const noexcept { return token_; }
  [[nodiscard]] bool hasToken() const noexcept { return token_.has_value(); }

  // Runs `step(call, client)` if both are still there; see above for memory.
  template <typename Step>
  static void run(const std::weak_ptr<ServiceCall>& weak, Step step) noexcept {
    const auto call = weak.lock();
    const auto client = call == nullptr ? nullptr : call->client_.lock();
    if (client == nullptr || client->isClosed()) return;
    try {
      step(*call, *client);
    } catch (const std::exception&) {
      call->fail(*client);
    }
  }
  // Holds the call for what runs later.
  [[nodiscard]] std::weak_ptr<ServiceCall> weak() noexcept { return weak_from_this(); }

 private:
  void takeToken(Client& client);
  void askDelegate(Client& client);
  void acceptCredentials(Client& client, const std::optional<platform::Secret>& token, const ErrorRef& error);
  void send(Client& client, const std::string& base, const HeaderMap& headers);
  void handleReply(Client& client, const std::string& body, int status, std::optional<std::string> eTag,
                   std::optional<QLMError> error);
  void act(Client& client, int status, const ReplyMeaning& meaning);
  void fail(Client& client) noexcept;

  const std::weak_ptr<Client> client_;
  const Wording wording_;
  const Target target_;
  std::optional<platform::Secret> token_;
  bool ended_ = false;
};

}  // namespace qlczephra
