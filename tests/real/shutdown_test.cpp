// Letting managers go, and ending the process, while something is stuck: nothing waits for it, nothing is left.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <set>
#include <thread>

#include "tests/real/manager_fixture.h"
#include "tests/support/process_use.h"
#include "tests/support/raw_server.h"
#include "tests/support/sanitizers.h"

namespace qlczephra::test {
namespace {

// Asks the host's code, whatever it is, to stay until the gate opens.
class Gate {
 public:
  void enter() {
    entered.raise();
    ASSERT_TRUE(opened_.wait());
    left.raise();
  }
  void open() { opened_.raise(); }
  Signal entered;
  Signal left;

 private:
  Signal opened_;
};

struct BlockedDelegate : QLCZephraAuthenticationDelegate {
  explicit BlockedDelegate(Gate& gate) : gate_(gate) {}
  void getCCRCredentials(CredentialsCallback) override { gate_.enter(); }
  Gate& gate_;
};

struct BlockedProvider : QLCServicesURLsProviderProtocol {
  explicit BlockedProvider(Gate& gate) : gate_(gate) {}
  void getURLForService(std::uint64_t, URLCallback) override { gate_.enter(); }
  void respondToChallenge(const ServerTrust&, ChallengeCallback) override {}
  Gate& gate_;
};

class ShutdownTest : public RealManagerTest {};

TEST_F(ShutdownTest, AManagerGoesWhileItsHostsCodeOrItsTransferIsStuck) {
  struct Case {
    const char* name;
    std::function<std::unique_ptr<QLCZephraManager>(Gate&)> makeStuck;
  };
  const auto fetching = [](std::unique_ptr<QLCZephraManager> manager, Completion completion) {
    manager->fetchRemoteSettings(std::move(completion));
    return manager;
  };
  std::shared_ptr<BlockedDelegate> blocked;
  RawServer silent([](RawConnection& connection) { connection.stall(); });
  const Case cases[] = {
      {"delegate",
       [&](Gate& gate) {
         blocked = std::make_shared<BlockedDelegate>(gate);
         return fetching(makeManager(1, blocked, server_.url()), [](const ErrorRef&) {});
       }},
      {"provider",
       [&](Gate& gate) {
         return fetching(std::make_unique<QLCZephraManager>(std::make_shared<QLCAppInfo>(product, "x"),
                                                            std::make_shared<BlockedProvider>(gate), delegate_),
                         [](const ErrorRef&) {});
       }},
      {"completion", [&](Gate& gate) { return fetching(makeManager(), [&gate](const ErrorRef&) { gate.enter(); }); }},
      {"log sink",
       [&](Gate& gate) {
         setLogSink([&gate, once = std::make_shared<std::atomic<bool>>(false)](const LogLine& line) {
           if (line.message.find("responded") != std::string_view::npos && !once->exchange(true)) gate.enter();
         });
         return fetching(makeManager(), [](const ErrorRef&) {});
       }},
      {"transfer",
       [&](Gate& gate) {
         auto manager = makeManager(1, delegate_, silent.url());
         manager->fetchRemoteSettings([](const ErrorRef&) { ADD_FAILURE() << "completed after the manager went"; });
         while (silent.connections() == 0) std::this_thread::sleep_for(1ms);
         gate.entered.raise();
         gate.left.raise();
         return manager;
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Gate gate;
    auto manager = c.makeStuck(gate);
    ASSERT_TRUE(gate.entered.wait());
    const auto begun = std::chrono::steady_clock::now();
    std::thread([&] { manager.reset(); }).join();
    EXPECT_LT(std::chrono::steady_clock::now() - begun, 2s);
    // Others are not held up either.
    EXPECT_EQ(fetch(*makeManager(7)), nullptr);
    gate.open();
    ASSERT_TRUE(gate.left.wait());
    setLogSink([](const LogLine& line) { requireNoToken(line.message, "a log line"); });
  }
}

TEST_F(ShutdownTest, AManagerMayGoInsideAnyOfItsCallbacks) {
  struct GoingDelegate : QLCZephraAuthenticationDelegate {
    void getCCRCredentials(CredentialsCallback callback) override {
      inDelegate();
      callback(secretToken, nullptr);
    }
    std::function<void()> inDelegate = [] {};
  };
  struct GoingProvider : FixedProvider {
    using FixedProvider::FixedProvider;
    void getURLForService(std::uint64_t service, URLCallback callback) override {
      inProvider();
      FixedProvider::getURLForService(service, std::move(callback));
    }
    std::function<void()> inProvider = [] {};
  };
  for (int where = 0; where < 4; ++where) {
    SCOPED_TRACE(where);
    const auto delegate = std::make_shared<GoingDelegate>();
    const auto provider = std::make_shared<GoingProvider>(server_.url());
    auto manager = std::make_unique<QLCZephraManager>(std::make_shared<QLCAppInfo>(product, "x"), provider, delegate);
    Signal gone;
    std::atomic<int> completions{0};
    const auto go = [&] {
      manager.reset();
      gone.raise();
    };
    if (where == 0) delegate->inDelegate = go;
    if (where == 1) provider->inProvider = go;
    if (where == 3) {
      setLogSink([&, once = std::make_shared<std::atomic<bool>>(false)](const LogLine& line) {
        if (line.message.find("responded") != std::string_view::npos && !once->exchange(true)) go();
      });
    }
    manager->fetchRemoteSettings([&](const ErrorRef&) {
      ++completions;
      if (where == 2) go();
    });
    ASSERT_TRUE(gone.wait());
    setLogSink([](const LogLine& line) { requireNoToken(line.message, "a log line"); });
    EXPECT_EQ(fetch(*makeManager(7)), nullptr);  // by then the one that is gone would have completed
    EXPECT_EQ(completions, where == 2 ? 1 : 0);
  }
}

TEST_F(ShutdownTest, ManyManagersInARowLeaveNothing) {
  constexpr int rounds = underSanitizer ? 1000 : 10000;
  constexpr bool countsBytes = !underSanitizer;  // freed memory is kept for a while there
  const auto round = [&](int number) {
    auto manager = makeManager(number % 50);
    manager->updateLocalSettings();
    if (number % 4 == 0) manager->fetchRemoteSettings([](const ErrorRef&) {});
    if (number % 100 == 0) {
      EXPECT_EQ(fetch(*makeManager(60)), nullptr);  // so that not all of it piles up
    }
  };
  for (int number = 0; number < rounds / 5; ++number) round(number);
  EXPECT_EQ(fetch(*makeManager(60)), nullptr);
  std::this_thread::sleep_for(200ms);
  service_.log().clear();
  const auto threads = threadsOfProcess();
  const auto descriptors = openDescriptors();
  const auto bytes = ::mallinfo2().uordblks;
  for (int number = 0; number < rounds; ++number) round(number);
  EXPECT_EQ(fetch(*makeManager(60)), nullptr);
  std::this_thread::sleep_for(200ms);
  service_.log().clear();
  // The service has a thread and both sides a descriptor for each connection, of which a busy moment may need more than
  // there were.
  constexpr int connections = 32;
  EXPECT_LE(threadsOfProcess(), threads + connections);
  EXPECT_LE(openDescriptors(), descriptors + 2 * connections);
  if (countsBytes) {
    EXPECT_LE(::mallinfo2().uordblks, bytes + 1'000'000) << "that would be 100 bytes a manager";
  }
}

TEST_F(ShutdownTest, AChildThatOnlyExecutesAnotherProgramIsSafe) {
  // Without local sockets: two of them wake libcurl up, and nothing can be told to them that matters.
  const auto leftOpenByExec = [] {
    std::set<int> descriptors;
    for (int descriptor = 0; descriptor < 1024; ++descriptor) {
      const int flags = ::fcntl(descriptor, F_GETFD);
      if (flags < 0 || (flags & FD_CLOEXEC) != 0) continue;
      sockaddr_storage address{};
      socklen_t size = sizeof address;
      const bool isSocket = ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0;
      if (!isSocket || address.ss_family != AF_UNIX) descriptors.insert(descriptor);
    }
    return descriptors;
  };
  RawServer server(answering(okReply("{}")));  // whose own descriptors are none that a child inherits
  const auto before = leftOpenByExec();
  const auto manager = makeManager(501, delegate_, server.url(""));
  fetch(*manager);
  manager->setSettingValue("common.anything", 1);
  std::atomic<bool> end{false};
  std::thread busy([&] {
    while (!end) fetch(*manager);
  });
  for (int round = 0; round < 50; ++round) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::execl("/bin/true", "true", static_cast<char*>(nullptr));
      ::_exit(127);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    for (const int descriptor : leftOpenByExec()) EXPECT_TRUE(before.contains(descriptor)) << descriptor;
  }
  end = true;
  busy.join();
}

// ---- the end of the process

class ShutdownDeathTest : public ShutdownTest {
 protected:
  // Ends the process while `stuck` is inside the host's code on another thread.
  [[noreturn]] void endWhile(const std::function<void(Gate&)>& stuck) {
    static Gate& gate = *new Gate;  // somebody is inside it to the end
    stuck(gate);
    if (!gate.entered.wait()) ::_exit(3);
    server_.stop();
    std::exit(0);
  }
};

TEST_F(ShutdownDeathTest, TheProcessEndsWhileHostCodeIsStuck) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto begun = std::chrono::steady_clock::now();
  EXPECT_EXIT(endWhile([&](Gate& gate) {
                static const auto delegate = std::make_shared<BlockedDelegate>(gate);
                static auto manager = makeManager(1, delegate, server_.url());
                manager->fetchRemoteSettings([](const ErrorRef&) {});
              }),
              testing::ExitedWithCode(0), "");
  EXPECT_EXIT(endWhile([&](Gate& gate) {
                static auto manager = makeManager();
                manager->fetchRemoteSettings([&gate](const ErrorRef&) { gate.enter(); });
              }),
              testing::ExitedWithCode(0), "");
  EXPECT_EXIT(endWhile([&](Gate& gate) {
                setLogSink([&gate](const LogLine& line) {
                  if (line.message.find("responded") != std::string_view::npos) gate.enter();
                });
                static auto manager = makeManager();
                manager->fetchRemoteSettings([](const ErrorRef&) {});
              }),
              testing::ExitedWithCode(0), "");
  EXPECT_LT(std::chrono::steady_clock::now() - begun, 20s);
}

}  // namespace
}  // namespace qlczephra::test
