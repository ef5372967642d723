// Fetching the settings document and making it the current settings.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "calls/service_call.h"

namespace qlczephra {

// Holds the client's fetch guard, of which there is one, for as long as it lives.
class FetchGuard {
 public:
  // The guard was taken.
  explicit FetchGuard(const std::shared_ptr<Client>& client) noexcept : client_(client) {}
  FetchGuard(FetchGuard&& other) noexcept = default;
  FetchGuard& operator=(FetchGuard&&) = delete;
  ~FetchGuard() {
    if (const auto client = client_.lock()) client->returnFetchGuard();
  }

 private:
  std::weak_ptr<Client> client_;  // which owns the call that owns the guard
};

class SettingsFetch final : public ServiceCall {
 public:
  // Whether the request names the document in use. One that recovers from a wrong tag must not.
  enum class Condition : bool { ifChanged, unconditional };

  // Begins a fetch for the host. Ends it with `fetchInProgress` before it returns when another one runs.
  static void beginForHost(const std::shared_ptr<Client>& client, Completion completion);
  // Begins a fetch with the token and on behalf of another call, which is told of the end.
  static void beginFor(Client& client, const platform::Secret& token, Condition condition, Completion completion);

  SettingsFetch(const std::shared_ptr<Client>& client, std::optional<FetchGuard> guard,
                std::optional<platform::Secret> token, Condition condition, Completion completion);

 private:
  void addCondition(Client& client, HeaderMap& headers) override;
  std::optional<Map> body(Client& client) override;
  ErrorRef apply(Client& client, const std::string& body, std::optional<std::string> eTag) override;
  void notModified(Client& client) override;
  void beforeRepetition(int status) override;
  void logEnd(Client& client, const ErrorRef& error) override;
  void end(Client& client, const ErrorRef& error) noexcept override;

  std::optional<FetchGuard> guard_;  // of a fetch for the host
  const bool isForHost_;
  Condition condition_;
  Completion completion_;
  std::optional<std::string> sentTag_;
  std::shared_ptr<PendingChanges> changes_;               // of the present attempt, ...
  std::shared_ptr<const PendingChanges::Ticket> ticket_;  // ... and when it began
};

}  // namespace qlczephra
