// Many threads that write, read and fetch at once, on one manager and on two over the same files: no write is lost and
// none is seen to go back. Runs under the thread sanitizer.
#include <atomic>
#include <thread>
#include <vector>

#include "tests/real/manager_fixture.h"

namespace qlczephra::test {
namespace {

constexpr int writers = 8;
constexpr int readers = 4;
constexpr int settingsOfWriter = 2;
constexpr int settings = writers * settingsOfWriter;
constexpr int writes = 200;  // of each writer

std::string pathOf(int setting) {
  return "common.s" + std::to_string(setting);
}

class WritersTest : public RealManagerTest {
 protected:
  WritersTest() {
    Map::Builder properties;
    for (int setting = 0; setting < settings; ++setting) {
      properties.set("s" + std::to_string(setting), Map{{"type", "integer"}, {"default", 0}});
    }
    properties.set("other", Map{{"type", "integer"}, {"default", 0}});
    const Map schema{{"common", Map{{"properties", properties.build()}}}, {"macos", Map{{"properties", Map()}}}};
    service_.store().setDocument(product, Map{{"data", Map{{"eff_schema", schema}, {"values", Map()}}}});
  }

  void disturbUploads() {
    std::vector<service::Fault> faults(3);
    faults[0].method = "PATCH";
    faults[0].onlyAfter = 2;
    faults[0].status = 503;
    faults[1].method = "PATCH";
    faults[1].onlyAfter = 4;
    faults[1].drop = service::Drop::beforeHeaders;
    faults[2].method = "PATCH";
    faults[2].onlyAfter = 6;
    faults[2].status = 403;
    for (service::Fault& fault : faults) fault.count = 1;
    service_.faults().add(std::move(faults));
  }

  // Numbers that increase; those of a writer go to its own settings in turn, through the managers in turn.
  void write(const std::vector<QLCZephraManager*>& managers, int writer) {
    for (int number = 1; number <= writes; ++number) {
      const int setting = writer * settingsOfWriter + number % settingsOfWriter;
      QLCZephraManager& manager = *managers[static_cast<std::size_t>(writer + number / 7) % managers.size()];
      manager.setSettingValue(pathOf(setting), number);
      if (manager.getNumberValue(pathOf(setting)) != number) ++staleReads_;
    }
  }

  // Until the end, that no setting goes back.
  void read(const QLCZephraManager& manager) {
    std::vector<std::int64_t> newest(settings, 0);
    while (!end_.load()) {
      for (int setting = 0; setting < settings; ++setting) {
        const std::int64_t value = manager.getNumberValue(pathOf(setting)).value_or(-1);
        if (value < newest[static_cast<std::size_t>(setting)]) ++backwards_;
        newest[static_cast<std::size_t>(setting)] = value;
      }
      ++reads_;
      std::this_thread::yield();  // the writers need the processor too
    }
  }

  // Until the end; another client changes a setting now and then, so that entity tags grow old.
  void fetchAgainAndAgain(const std::vector<QLCZephraManager*>& managers) {
    const auto always = [](std::string_view) { return true; };
    for (int round = 1; !end_.load(); ++round) {
      if (fetch(*managers[static_cast<std::size_t>(round) % managers.size()]) != nullptr) ++failedFetches_;
      if (round % 5 == 0) service_.store().update(product, Map{{"common", Map{{"other", round}}}}, always);
    }
  }

  void run(const std::vector<QLCZephraManager*>& managers) {
    for (QLCZephraManager* manager : managers) ASSERT_EQ(fetch(*manager), nullptr);
    disturbUploads();
    std::vector<std::thread> watching;
    for (int reader = 0; reader < readers; ++reader) {
      watching.emplace_back([&, reader] { read(*managers[static_cast<std::size_t>(reader) % managers.size()]); });
    }
    watching.emplace_back([&] { fetchAgainAndAgain(managers); });
    std::vector<std::thread> writing;
    for (int writer = 0; writer < writers; ++writer) {
      writing.emplace_back([&, writer] { write(managers, writer); });
    }
    for (std::thread& thread : writing) thread.join();
    const bool arrived = waitUntilUploaded();
    end_ = true;
    for (std::thread& thread : watching) thread.join();

    ASSERT_TRUE(arrived) << "changes are still pending after a minute";
    EXPECT_EQ(staleReads_, 0) << "writes that their own thread did not read at once";
    EXPECT_EQ(backwards_, 0) << "reads of an older value after a newer one";
    EXPECT_EQ(failedFetches_, 0);
    EXPECT_GT(reads_, 0);
    const auto values = service_.store().values(product);
    const Map* common = values ? values->find("common")->map() : nullptr;
    for (int setting = 0; setting < settings; ++setting) {
      const int last = writes - (writes - setting) % settingsOfWriter;
      const Value* value = common->find("s" + std::to_string(setting));
      ASSERT_NE(value, nullptr) << pathOf(setting);
      EXPECT_EQ(*value, Value(last)) << pathOf(setting);
    }
    // The other manager's tree follows with a fetch.
    for (QLCZephraManager* manager : managers) {
      ASSERT_EQ(fetch(*manager), nullptr);
      for (int setting = 0; setting < settings; ++setting) {
        EXPECT_EQ(manager->getNumberValue(pathOf(setting)), common->find("s" + std::to_string(setting))->wholeNumber());
      }
    }
  }

  [[nodiscard]] bool waitUntilUploaded() const {
    for (int look = 0; look < 6000; ++look) {
      if (!std::filesystem::exists(directory_ + "/patch-501.plist") &&
          !std::filesystem::exists(directory_ + "/patch-501-sending.plist")) {
        return true;
      }
      std::this_thread::sleep_for(10ms);
    }
    return false;
  }

  std::atomic<bool> end_{false};
  std::atomic<int> staleReads_{0};
  std::atomic<int> backwards_{0};
  std::atomic<int> failedFetches_{0};
  std::atomic<long> reads_{0};
};

TEST_F(WritersTest, OnOneManagerNoWriteIsLostAndNoneGoesBack) {
  const auto manager = makeManager();
  run({manager.get()});
}

TEST_F(WritersTest, OnTwoManagersOverTheSameFilesNoWriteIsLostAndNoneGoesBack) {
  const auto first = makeManager();
  const auto second = makeManager();
  run({first.get(), second.get()});
}

}  // namespace
}  // namespace qlczephra::test
