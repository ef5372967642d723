// The manager over real threads, sockets and files: completions exactly once, destruction at any moment, host code that
// blocks, and reads beside a fetch loop. Runs under the thread sanitizer.
#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "tests/real/manager_fixture.h"

namespace qlczephra::test {
namespace {

using Code = QLCZephraManager::ZephraErrorCode;

service::Fault delayed(std::chrono::milliseconds delay, std::optional<std::size_t> count) {
  service::Fault fault;
  fault.count = count;
  fault.delay = delay;
  return fault;
}

TEST_F(RealManagerTest, FetchesKeepsAndReads) {
  const auto manager = makeManager();
  ASSERT_EQ(fetch(*manager), nullptr);
  EXPECT_EQ(manager->getBoolValue("common.time.curfew.enabled"), true);
  ASSERT_EQ(fetch(*manager), nullptr);
  EXPECT_EQ(service_.log().entries().back().status, 304);

  const auto next = makeManager();
  next->updateLocalSettings();
  EXPECT_EQ(next->currentSettings(), manager->currentSettings());
}

TEST_F(RealManagerTest, OfTwoFetchesAtOnceTheSecondIsRefusedAndTheFirstGoesOn) {
  service_.faults().add({delayed(300ms, 1)});
  const auto manager = makeManager();
  Signal first;
  manager->fetchRemoteSettings([&](const ErrorRef& error) {
    EXPECT_EQ(error, nullptr);
    first.raise();
  });
  bool refused = false;
  manager->fetchRemoteSettings([&](const ErrorRef& error) { refused = error->code() == Code::fetchInProgress; });
  EXPECT_TRUE(refused) << "at once, on the caller's thread";
  ASSERT_TRUE(first.wait());
  EXPECT_EQ(fetch(*manager), nullptr);
  EXPECT_EQ(first.raised(), 1);
}

TEST_F(RealManagerTest, ACompletionMayReadAndFetchAgain) {
  constexpr int rounds = 30;
  int round = 0;
  const auto manager = makeManager();
  Signal done;
  std::function<void(const ErrorRef&)> next = [&](const ErrorRef& error) {
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(manager->getBoolValue("common.time.curfew.enabled"), true);
    manager->clearCCRToken();
    if (++round < rounds) manager->fetchRemoteSettings(next);
    done.raise();  // last: after the last round the test goes on, and its objects go
  };
  manager->fetchRemoteSettings(next);
  EXPECT_TRUE(done.wait(rounds));
}

TEST_F(RealManagerTest, ManagersThatNameTheSameFilesByOtherPathsShareThem) {
  std::atomic<int> refusals{0};
  setLogSink([&](const LogLine& line) { refusals += line.message.find("refused") != std::string_view::npos; });
  const std::string link = directory_ + "-link";
  std::filesystem::create_directory_symlink(directory_, link);
  const auto cleanUp = [&](const char*) { std::filesystem::remove(link); };
  const std::unique_ptr<const char, decltype(cleanUp)> atEnd("", cleanUp);
  const auto first = makeManager();
  const auto second = makeManager();
  second->setPatchFilePath(link + "/./patch-501.plist");
  const auto third = makeManager();
  third->setPatchFilePath(std::filesystem::relative(directory_ + "/patch-501.plist").string());
  for (const auto* manager : {&first, &second, &third}) {
    ASSERT_EQ(fetch(**manager), nullptr);
    (*manager)->setBoolValue("common.time.curfew.enabled", true);
  }
  EXPECT_EQ(refusals, 0);
  setLogSink([](const LogLine& line) { requireNoToken(line.message, "a log line"); });
}

TEST_F(RealManagerTest, AManagerMayGoInsideItsOwnCompletion) {
  for (int round = 0; round < 20; ++round) {
    auto manager = makeManager();
    Signal done;
    manager->fetchRemoteSettings([&](const ErrorRef&) {
      manager.reset();
      done.raise();
    });
    ASSERT_TRUE(done.wait());
  }
}

TEST_F(RealManagerTest, AManagerMayGoAtAnyMomentAndThenCompletesNothingAnyMore) {
  service_.faults().add({delayed(3ms, std::nullopt)});
  std::mt19937 random(1);
  int completed = 0;
  for (int round = 0; round < 300; ++round) {
    auto manager = makeManager();
    auto calls = std::make_shared<std::atomic<int>>(0);
    manager->fetchRemoteSettings([calls](const ErrorRef&) { ++*calls; });
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 12000));
    std::thread([&] { manager.reset(); }).join();
    const int atDestruction = *calls;
    EXPECT_LE(atDestruction, 1);
    completed += atDestruction;
  }
  EXPECT_GT(completed, 0);
  EXPECT_LT(completed, 300) << "some must have gone before their end for this to say anything";
}

TEST_F(RealManagerTest, DelegatesThatBlockDoNotHoldUpAnotherManager) {
  struct BlockingDelegate : QLCZephraAuthenticationDelegate {
    void getCCRCredentials(CredentialsCallback) override {
      entered.raise();
      EXPECT_TRUE(release.wait());
      left.raise();
    }
    Signal entered;
    Signal release;
    Signal left;
  };
  constexpr int blocked = 64;
  const auto blocking = std::make_shared<BlockingDelegate>();
  std::vector<std::unique_ptr<QLCZephraManager>> managers;
  for (int i = 0; i < blocked; ++i) {
    managers.push_back(makeManager(1000 + i, blocking, server_.url()));
    managers.back()->fetchRemoteSettings([](const ErrorRef&) { ADD_FAILURE() << "it never got a token"; });
  }
  ASSERT_TRUE(blocking->entered.wait(blocked));
  const auto other = makeManager(1);
  const auto begun = std::chrono::steady_clock::now();
  EXPECT_EQ(fetch(*other), nullptr);
  EXPECT_LT(std::chrono::steady_clock::now() - begun, 1s);
  managers.clear();  // returns although all of them are still inside their delegates
  EXPECT_EQ(blocking->left.raised(), 0);
  blocking->release.raise();
  ASSERT_TRUE(blocking->left.wait(blocked));
}

TEST_F(RealManagerTest, ReadsSeeWholeTreesWhileAFetchLoopReplacesThem) {
  const auto document = [](int revision) {
    Map::Builder properties;
    Map::Builder values;
    for (int i = 0; i < 20; ++i) {
      properties.set("n" + std::to_string(i), Map{{"type", "integer"}, {"default", -1}});
      values.set("n" + std::to_string(i), revision);
    }
    const Map schema{{"properties", properties.build()}};
    return Map{{"data", Map{{"eff_schema", Map{{"common", schema}, {"macos", Map{{"properties", Map()}}}}},
                            {"values", Map{{"common", values.build()}}}}}};
  };
  service_.store().setDocument(product, document(0));
  const auto manager = makeManager();
  ASSERT_EQ(fetch(*manager), nullptr);
  std::atomic<bool> end{false};
  std::atomic<int> torn{0};
  std::atomic<long> reads{0};
  std::vector<std::thread> readers;
  for (int reader = 0; reader < 3; ++reader) {
    readers.emplace_back([&] {
      while (!end.load()) {
        const auto all = manager->getFlattenedDict("common");
        for (const auto& [name, value] : *all) torn += value != *all->find("n0");
        if (!manager->getNumberValue("common.n7")) ++torn;
        ++reads;
      }
    });
  }
  for (int revision = 1; revision <= 40; ++revision) {
    service_.store().setDocument(product, document(revision));
    ASSERT_EQ(fetch(*manager), nullptr);
    EXPECT_EQ(manager->getNumberValue("common.n3"), revision);
  }
  end = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(torn, 0);
  EXPECT_GT(reads, 0);
}

}  // namespace
}  // namespace qlczephra::test
