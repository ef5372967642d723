// Memory that runs out once, at each allocation in turn, over a fetch, a change, its upload, and the end of a manager.
#include <new>

#include "platform/native/native_platform.h"
#include "tests/real/manager_fixture.h"
#include "tests/real/memory/failing_allocations.h"

namespace qlczephra::test {
namespace {

constexpr const char* path = "common.time.curfew.enabled";

// What a host allocates itself is not the library's to answer for.
template <typename Make>
auto made(Make make) {
  isHostsOwn = true;
  auto result = make();
  isHostsOwn = false;
  return result;
}

struct Host : QLCZephraAuthenticationDelegate, QLCServicesURLsProviderProtocol {
  explicit Host(std::string url) : base(std::move(url)) {}
  void getCCRCredentials(CredentialsCallback callback) override {
    callback(made([] { return std::optional<std::string>(secretToken); }), nullptr);
  }
  void getURLForService(std::uint64_t, URLCallback callback) override {
    callback(nullptr, made([&] { return std::optional<std::string>(base); }));
  }
  void respondToChallenge(const ServerTrust&, ChallengeCallback) override {}
  const std::string base;
};

// Repeats at once what is repeated with a random delay.
struct UnpacedPlatform : platform::NativePlatform {
  std::uint32_t secureRandom() override { return 0; }
};

struct Parameters {
  bool isLibrarys;  // the thread on which memory runs out, or the caller's
  bool ends;        // whether the manager is destroyed before memory is back
};

class ManagerMemory : public RealManagerTest, public testing::WithParamInterface<Parameters> {
 protected:
  [[nodiscard]] std::unique_ptr<QLCZephraManager> makeManager() {
    const auto host = std::make_shared<Host>(server_.url());
    hosts_.push_back(host);
    auto manager = std::make_unique<QLCZephraManager>(std::make_shared<QLCAppInfo>(product, "memory-test/1"), host,
                                                      host, platform_);
    manager->setLocalFilePath(directory_ + "/zephra.plist");
    manager->setPatchFilePath(directory_ + "/patch.plist");
    return manager;
  }

  [[nodiscard]] std::optional<bool> valueOfService() {
    const Value* value = nullptr;
    const std::optional<Map> values = service_.store().values(product);
    const Map* map = &*values;
    for (const char* name : {"common", "time", "curfew", "enabled"}) {
      value = map->find(name);
      if (value == nullptr) return std::nullopt;
      map = value->map();
    }
    return value->boolean();
  }
  [[nodiscard]] bool arrives(bool value, std::chrono::milliseconds longest) {
    const auto end = std::chrono::steady_clock::now() + longest;
    while (valueOfService() != value) {
      if (std::chrono::steady_clock::now() > end) return false;
      std::this_thread::sleep_for(1ms);
    }
    return true;
  }

  // Makes a fetch, a change and its upload while one allocation fails, and perhaps the manager's end; returns whether
  // it came to that allocation. Memory is back then, and everything goes on, with the same manager or the next one.
  bool tell(bool value, const Parameters& how, int allocation) {
    std::atomic<int>& left = how.isLibrarys ? libraryAllocationsLeft : threadAllocationsLeft;
    auto manager = makeManager();
    manager->updateLocalSettings();
    Signal completed;
    const Completion completion = [&](const ErrorRef&) { completed.raise(); };
    left = allocation;
    try {
      manager->fetchRemoteSettings(completion);
      manager->setBoolValue(path, value);
      if (how.isLibrarys) static_cast<void>(arrives(value, 50ms));
      if (how.ends) manager = nullptr;
    } catch (const std::bad_alloc&) {
    }
    const bool failed = left.exchange(-1) < 0;
    if (how.ends) {
      manager = makeManager();
      manager->updateLocalSettings();
    }
    ErrorRef error;
    for (int tries = 0; tries < 500; ++tries) {  // the one that was begun may still run
      error = fetch(*manager);
      if (error == nullptr || error->code() != ZephraErrorCode::fetchInProgress) break;
      std::this_thread::sleep_for(10ms);
    }
    EXPECT_EQ(error, nullptr) << error->text();
    EXPECT_LE(completed.raised(), 1);
    if (manager->getBoolValue(path) != value) manager->setBoolValue(path, value);  // it was refused as a whole
    EXPECT_TRUE(arrives(value, 5s)) << "the change is not sent";
    return failed;
  }

  platform::Platform& platform_ = *new UnpacedPlatform;  // what managers began may outlive them
  std::vector<std::shared_ptr<Host>> hosts_;
};

TEST_P(ManagerMemory, EverythingGoesOnWhateverAllocationFails) {
  static_cast<void>(fetch(*makeManager()));  // threads are there already: they are told by their names
  int count = 0;
  for (bool failed = true; failed && count < 3000 && !HasFailure(); ++count) {
    SCOPED_TRACE(count);
    failed = tell(count % 2 == 0, GetParam(), count);
  }
  RecordProperty("allocations", count);
  EXPECT_GT(count, 50);
}

INSTANTIATE_TEST_SUITE_P(Threads, ManagerMemory,
                         testing::Values(Parameters{true, false}, Parameters{true, true}, Parameters{false, false},
                                         Parameters{false, true}));

}  // namespace
}  // namespace qlczephra::test
