// A manager of a host over real threads and sockets, against the stand-in service.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "qlczephra/qlczephra.h"
#include "service/http_server.h"
#include "service/sample_document.h"
#include "service/service.h"
#include "tests/support/json_literal.h"
#include "tests/support/secret_token.h"

namespace qlczephra::test {

using namespace std::chrono_literals;

inline constexpr const char* product = "corlane";

// Lets the test wait for things that happen on other threads.
class Signal {
 public:
  void raise() {
    const std::lock_guard lock(mutex_);
    ++raised_;
    changed_.notify_all();
  }
  [[nodiscard]] bool wait(int times = 1, std::chrono::milliseconds longest = 60s) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, longest, [&] { return raised_ >= times; });
  }
  [[nodiscard]] int raised() {
    const std::lock_guard lock(mutex_);
    return raised_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int raised_ = 0;
};

struct TokenDelegate : QLCZephraAuthenticationDelegate {
  void getCCRCredentials(CredentialsCallback callback) override { callback(secretToken, nullptr); }
};

struct FixedProvider : QLCServicesURLsProviderProtocol {
  explicit FixedProvider(std::string base) : base_(std::move(base)) {}
  void getURLForService(std::uint64_t, URLCallback callback) override { callback(nullptr, base_); }
  void respondToChallenge(const ServerTrust&, ChallengeCallback) override { FAIL() << "never called"; }

 private:
  const std::string base_;
};

class RealManagerTest : public testing::Test {
 protected:
  RealManagerTest() {
    setLogSink([](const LogLine& line) { requireNoToken(line.message, "a log line"); });
    service_.store().setDocument(product, mapFromJson(service::sampleDocument()));
    EXPECT_TRUE(server_.start());
    std::string pattern = (std::filesystem::temp_directory_path() / "qlczephra-real-XXXXXX").string();
    directory_ = ::mkdtemp(pattern.data());
  }
  ~RealManagerTest() override {
    server_.stop();
    for (const auto& entry : std::filesystem::directory_iterator(directory_)) {
      std::ifstream file(entry.path(), std::ios::binary);
      requireNoToken(std::string(std::istreambuf_iterator<char>(file), {}), "a file");
    }
    removeDirectory();
    setLogSink({});
  }

  [[nodiscard]] std::unique_ptr<QLCZephraManager> makeManager(int uid = 501) {
    return makeManager(uid, delegate_, server_.url());
  }
  [[nodiscard]] std::unique_ptr<QLCZephraManager> makeManager(
      int uid, const std::shared_ptr<QLCZephraAuthenticationDelegate>& delegate, const std::string& base) {
    auto manager = std::make_unique<QLCZephraManager>(std::make_shared<QLCAppInfo>(product, "real-test/1"),
                                                      std::make_shared<FixedProvider>(base), delegate);
    manager->setLocalFilePath(directory_ + "/zephra-" + std::to_string(uid) + ".plist");
    manager->setPatchFilePath(directory_ + "/patch-" + std::to_string(uid) + ".plist");
    return manager;
  }

  // Fetches and waits for the end; the error, null for success.
  static ErrorRef fetch(QLCZephraManager& manager) {
    Signal done;
    ErrorRef result;
    manager.fetchRemoteSettings([&](const ErrorRef& error) {
      result = error;
      done.raise();
    });
    EXPECT_TRUE(done.wait());
    return result;
  }

  // A reply that was being handled when its manager went may still be replacing a file.
  void removeDirectory() {
    std::error_code error;
    for (int tries = 0; tries < 1000; ++tries) {
      std::filesystem::remove_all(directory_, error);
      if (!error) return;
      std::this_thread::sleep_for(1ms);
    }
    ADD_FAILURE() << error.message();
  }

  service::Service service_;
  service::ServiceServer server_{service_};
  std::string directory_;
  const std::shared_ptr<TokenDelegate> delegate_ = std::make_shared<TokenDelegate>();
};

}  // namespace qlczephra::test
