// A manager and its host in a simulated world, in the words of the domain: what the host's delegate and URL provider
// and the service answer, what the manager then asked, logged and stored, and how its calls ended.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "qlczephra/manager.h"
#include "sim/world.h"

namespace qlczephra::test {

// One reply of the service. A 2xx reply carries the document unless it is given another body.
struct Answer {
  Answer(int status) { reply.status = status; }  // NOLINT(google-explicit-constructor): tables of plain statuses
  static Answer lost();                          // the connection ends without a reply
  static Answer brokenAfter(int status);         // the connection ends after the head

  Answer& tag(std::string eTag);
  Answer& body(std::string text);
  Answer& delayed(std::chrono::milliseconds delay);

  service::ServiceReply reply;
  bool hasBody = false;
};

// A call with a completion.
struct Call {
  int completions = 0;
  ErrorRef error;                    // of the last completion
  std::string lane;                  // on which it ran; empty for the caller's own
  std::chrono::milliseconds at{-1};  // when, since the world began

  // "open", "success", the name of a ZephraErrorCode, or domain and code of another error.
  [[nodiscard]] std::string result() const;
};

class HostDelegate : public QLCZephraAuthenticationDelegate {
 public:
  using Behaviour = std::function<void(CredentialsCallback callback)>;
  void getCCRCredentials(CredentialsCallback callback) override;
  Behaviour behaviour;
  int asked = 0;
};

class HostProvider : public QLCServicesURLsProviderProtocol {
 public:
  using Behaviour = std::function<void(URLCallback callback)>;
  void getURLForService(std::uint64_t service, URLCallback callback) override;
  void respondToChallenge(const ServerTrust& challenge, ChallengeCallback callback) override;
  Behaviour behaviour;
  std::vector<std::uint64_t> asked;  // service identifiers
};

class ManagerWorld {
 public:
  static constexpr const char* base = "http://service.test";
  static constexpr const char* settingsURL =
      "http://service.test/zephra/client-api/v3/clients/me/products/corlane/settings";
  static constexpr const char* localFile = "/settings/zephra-501.plist";
  static constexpr const char* patchFile = "/settings/patch-501.plist";
  static constexpr const char* sendingFile = "/settings/patch-501-sending.plist";
  // A small document: common.name, common.count, common.on, macos empty.
  static const char* const document;

  // The delegate answers `secretToken`, the provider `base`, the service 200 with `document`; both paths are set.
  explicit ManagerWorld(std::uint64_t seed = 1);
  ~ManagerWorld();

  // ---- given
  void givenDocument(std::string json) { document_ = std::move(json); }
  void givenFile(const std::string& path, const char* json);  // as a property list
  void givenDelegate(HostDelegate::Behaviour behaviour) { delegate->behaviour = std::move(behaviour); }
  void givenDelegateAnswers(std::optional<std::string> token, ErrorRef error = nullptr);
  void givenProvider(HostProvider::Behaviour behaviour) { provider->behaviour = std::move(behaviour); }
  void givenProviderAnswers(ErrorRef error, std::optional<std::string> url);
  // What QLCRetry draws from now on: 0 for the shortest delays, 2^32 - 1 for the longest.
  void givenJitter(std::uint32_t random);
  // The replies to come, in order; afterwards the one for always, at first a 200.
  void whenServiceAnswers(std::vector<Answer> answers);
  void whenServiceAlwaysAnswers(Answer answer) { always_ = std::move(answer); }

  // ---- when
  Call& fetch();                                    // of `manager`; lives as long as this object
  std::string fetched();                            // fetches, waits for the end and gives the result
  std::unique_ptr<QLCZephraManager> makeManager();  // another one with the same host objects, without paths
  void advance(std::chrono::milliseconds time) { world.advance(time); }
  void runUntilIdle() { world.runUntilIdle(); }
  // `action` on a thread of the host's, after that time.
  void later(std::chrono::milliseconds time, std::function<void()> action);
  // The completion of a call that records it; runs `inside` last.
  Completion recording(Call& call, std::function<void()> inside = {});
  Call& newCall() { return calls_.emplace_back(); }

  // ---- then
  // Since the beginning or the last forgetLog(), in the form of LogRecord::text().
  [[nodiscard]] std::vector<std::string> log() const;
  // Those of them that contain `part`.
  [[nodiscard]] std::vector<std::string> logWith(const std::string& part) const;
  void forgetLog() { forgotten_ = world.logged().records().size(); }
  [[nodiscard]] const std::vector<sim::SimNetwork::Sent>& requests() { return world.network().sent(); }
  // Times of all requests in seconds since the first.
  [[nodiscard]] std::vector<std::int64_t> requestTimes();
  // A header of the newest request; none when it has no such header.
  [[nodiscard]] std::optional<std::string> sentHeader(const std::string& name);
  [[nodiscard]] std::optional<Map> storedMap(const std::string& path);

  sim::World world;
  std::shared_ptr<QLCAppInfo> appInfo;
  std::shared_ptr<HostDelegate> delegate;
  std::shared_ptr<HostProvider> provider;
  std::unique_ptr<QLCZephraManager> manager;

 private:
  service::ServiceReply answer(const service::ServiceRequest& request);

  std::string document_ = document;
  std::deque<Answer> answers_;
  Answer always_{200};
  std::deque<Call> calls_;
  std::size_t forgotten_ = 0;
};

}  // namespace qlczephra::test
