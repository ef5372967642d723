// A process that changes settings is killed again and again at random moments, and no change that it was told is
// accepted gets lost on the way to the service.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <random>

#include "platform/plist/plist.h"
#include "service/files.h"
#include "tests/real/killed_writer/protocol.h"
#include "tests/real/manager_fixture.h"
#include "tests/support/process_use.h"
#include "tests/support/sanitizers.h"

extern char** environ;  // NOLINT: POSIX declares it nowhere

namespace qlczephra::test {
namespace {

using Kind = Acknowledgement::Kind;
using Values = std::array<std::int64_t, killedSettings>;  // 0: none

// The process, from its start until kill().
class Writer {
 public:
  explicit Writer(std::vector<std::string> arguments) {
    int ends[2];
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    EXPECT_EQ(::posix_spawn(&process_, pointers[0], &actions, nullptr, pointers.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    told_ = ends[0];
  }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
  ~Writer() { ::close(told_); }

  // The next thing that the process told; none when it is gone and has told everything.
  std::optional<Acknowledgement> next() {
    Acknowledgement acknowledgement{};
    const ssize_t count = ::read(told_, &acknowledgement, sizeof acknowledgement);
    if (count == 0) return std::nullopt;
    EXPECT_EQ(count, ssize_t{sizeof acknowledgement});
    return acknowledgement;
  }
  // SIGKILL; the process must not have ended by itself.
  void kill() {
    ::kill(process_, SIGKILL);
    int status = 0;
    EXPECT_EQ(::waitpid(process_, &status, 0), process_);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "status " << status;
  }

 private:
  pid_t process_ = -1;
  int told_ = -1;
};

std::int64_t numberIn(const Map* values, const std::string& path) {
  const Value* section = values == nullptr ? nullptr : values->find("common");
  const Map* map = section == nullptr ? nullptr : section->map();
  const Value* value = map == nullptr ? nullptr : map->find(path.substr(path.find('.') + 1));
  return value == nullptr ? 0 : value->integer().value_or(0);
}

Values valuesIn(const Map* map) {
  Values values{};
  for (std::int64_t setting = 0; setting < killedSettings; ++setting) {
    values[static_cast<std::size_t>(setting)] = numberIn(map, killedSettingPath(setting));
  }
  return values;
}

class KilledProcessTest : public RealManagerTest {
 protected:
  KilledProcessTest() {
    Map::Builder properties;
    for (std::int64_t setting = 0; setting < killedSettings; ++setting) {
      properties.set("s" + std::to_string(setting), Map{{"type", "integer"}, {"default", 0}});
    }
    const Map schema{{"common", Map{{"properties", properties.build()}}}, {"macos", Map{{"properties", Map()}}}};
    service_.store().setDocument(product, Map{{"data", Map{{"eff_schema", schema}, {"values", Map()}}}});
  }

  [[nodiscard]] std::string localFile() const { return directory_ + "/zephra.plist"; }
  [[nodiscard]] std::string patchFile() const { return directory_ + "/patch.plist"; }
  [[nodiscard]] std::string sendingFile() const { return directory_ + "/patch-sending.plist"; }

  static Values valuesOfFile(const std::string& path) {
    const auto content = service::readFile(path);
    if (!content) return {};
    const auto read = plist::read(*content);
    const auto* value = std::get_if<Value>(&read);
    EXPECT_NE(value, nullptr) << path << " is damaged";
    return valuesIn(value == nullptr ? nullptr : value->map());
  }
  [[nodiscard]] std::optional<Map> storedSettings() const {
    const auto read = plist::read(service::readFile(localFile()).value_or(""));
    const auto* value = std::get_if<Value>(&read);
    return value == nullptr || value->map() == nullptr ? std::nullopt : std::optional(*value->map());
  }
  [[nodiscard]] Values valuesOfService() {
    const auto values = service_.store().values(product);
    return valuesIn(values ? &*values : nullptr);
  }

  // The service and the network misbehave in one of many ways, or not at all.
  void disturb() {
    service::Fault fault;
    fault.count = random_() % 3 + 1;
    fault.onlyAfter = random_() % 3;
    switch (random_() % 6) {
      case 0:
        fault.status = 503;
        fault.apply = random_() % 2 == 0;
        break;
      case 1:
        fault.status = 403;
        fault.apply = false;
        break;
      case 2:
        fault.drop = service::Drop::beforeHeaders;
        fault.apply = random_() % 2 == 0;
        break;
      case 3:
        fault.delay = std::chrono::milliseconds(random_() % 30);
        break;
      default:
        return;
    }
    service_.faults().add({fault});
  }

  // Starts the process, takes notes of what it tells, and kills it some time after it has begun.
  void round(const char* disk) {
    disturb();
    Writer writer({QLCZEPHRA_KILLED_WRITER, server_.url(), directory_, std::to_string(random_()),
                   std::to_string(nextCount_), disk});
    // In one round of eight somewhere in its start; else so many messages later, and then at any moment.
    const std::size_t messages = random_() % 8 == 0 ? 0 : 1 + random_() % 8;
    for (std::size_t number = 0; number < messages; ++number) {
      const auto told = writer.next();
      ASSERT_TRUE(told) << "the process ended by itself";
      note(*told);
    }
    std::this_thread::sleep_for(std::chrono::microseconds(random_() % 20'000));
    writer.kill();
    while (const auto told = writer.next()) note(*told);
    service_.faults().clear();
  }

  // Until the service has taken all that the process sent: that comes before anything of the next one.
  static void awaitEndOfConnections(std::ptrdiff_t descriptors) {
    for (int look = 0; look < 5000 && openDescriptors() > descriptors; ++look) std::this_thread::sleep_for(1ms);
    ASSERT_EQ(openDescriptors(), descriptors);
  }

  void note(const Acknowledgement& told) {
    if (told.kind == Kind::begun) return;
    const auto setting = static_cast<std::size_t>(settingOfKilledValue(told.value));
    if (told.kind == Kind::writing) {
      written_[setting] = told.value;
      nextCount_ = told.value / 10 + 1;
    } else if (told.kind == Kind::accepted) {
      accepted_[setting] = told.value;
      ++acceptedChanges_;
    } else {
      ++unsavedChanges_;
    }
  }

  // Every accepted change, or a newer one of its setting, is in a file or confirmed. The files are looked at first:
  // what leaves them is at the service by then.
  void checkNothingIsLost() {
    const Values patch = valuesOfFile(patchFile());
    const Values sending = valuesOfFile(sendingFile());
    const Values service = valuesOfService();
    for (std::size_t setting = 0; setting < accepted_.size(); ++setting) {
      // What was in memory only may have reached the service, and its file with an older value be sent once more.
      if (unsavedChanges_ == 0) {
        ASSERT_GE(service[setting], atServiceBefore_[setting]) << "an old value came back to setting " << setting;
      }
      const std::int64_t newest = std::max({patch[setting], sending[setting], service[setting]});
      ASSERT_GE(newest, accepted_[setting]) << "lost a change of setting " << setting;
      for (const std::int64_t value : {patch[setting], sending[setting], service[setting]}) {
        ASSERT_LE(value, written_[setting]) << "nobody wrote this to setting " << setting;
        ASSERT_TRUE(value == 0 || settingOfKilledValue(value) == static_cast<std::int64_t>(setting)) << value;
      }
    }
    atServiceBefore_ = service;
  }

  // A last process, in orderly circumstances, brings everything to the service.
  void drain() {
    const auto manager = makeManager();
    manager->setLocalFilePath(localFile());
    manager->setPatchFilePath(patchFile());
    manager->updateLocalSettings();
    for (int look = 0; look < 6000 && (std::filesystem::exists(patchFile()) || std::filesystem::exists(sendingFile()));
         ++look) {
      std::this_thread::sleep_for(10ms);
    }
    ASSERT_FALSE(std::filesystem::exists(patchFile()));
    ASSERT_FALSE(std::filesystem::exists(sendingFile()));
    const Values service = valuesOfService();
    for (std::size_t setting = 0; setting < accepted_.size(); ++setting) {
      EXPECT_GE(service[setting], accepted_[setting]) << "lost a change of setting " << setting;
      EXPECT_LE(service[setting], written_[setting]);
    }
    ASSERT_EQ(fetch(*manager), nullptr);
    EXPECT_EQ(manager->currentSettings(), storedSettings()) << "the settings file is kept up to date";
    for (std::int64_t setting = 0; setting < killedSettings; ++setting) {
      EXPECT_EQ(manager->getNumberValue(killedSettingPath(setting)), service[static_cast<std::size_t>(setting)]);
    }
  }

  void killAgainAndAgain(int rounds, const char* disk) {
    const char* given = std::getenv("QLCZEPHRA_SEED");
    const auto seed = given == nullptr ? 1U : static_cast<unsigned>(std::strtoul(given, nullptr, 10));
    random_.seed(seed);
    const std::ptrdiff_t descriptors = openDescriptors();
    for (int number = 0; number < rounds; ++number) {
      SCOPED_TRACE("round " + std::to_string(number) + " of seed " + std::to_string(seed));
      round(disk);
      if (HasFatalFailure()) return;
      awaitEndOfConnections(descriptors);
      if (HasFatalFailure()) return;
      checkNothingIsLost();
      if (HasFatalFailure()) return;
    }
    drain();
    std::printf("%d processes killed, %lld changes accepted, %lld in memory only\n", rounds,
                static_cast<long long>(acceptedChanges_), static_cast<long long>(unsavedChanges_));
    EXPECT_GE(acceptedChanges_, rounds / 4) << "too few for the test to mean anything";
  }

  std::mt19937 random_;
  std::int64_t nextCount_ = 1;
  Values written_{};   // the newest that the process began to write
  Values accepted_{};  // the newest that it was told is safe
  Values atServiceBefore_{};
  std::int64_t acceptedChanges_ = 0;
  std::int64_t unsavedChanges_ = 0;
};

constexpr int rounds = underSanitizer ? 40 : 300;

TEST_F(KilledProcessTest, NoAcceptedChangeIsLost) {
  killAgainAndAgain(rounds, "roomy");
}

TEST_F(KilledProcessTest, NoAcceptedChangeIsLostWhileTheDiskIsFullNowAndThen) {
  killAgainAndAgain(rounds / 2, "full");
  EXPECT_GT(unsavedChanges_, 0);
}

}  // namespace
}  // namespace qlczephra::test
