// A host that writes settings over real files and says so, until it is killed.
//
// usage: killed_writer BASE_URL DIRECTORY SEED FIRST_COUNT full|roomy
//
// With "full" the disk has no room for the longer files now and then.
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <random>
#include <string_view>
#include <thread>

#include "qlczephra/qlczephra.h"
#include "tests/real/killed_writer/protocol.h"

namespace qlczephra::test {
namespace {

struct Token : QLCZephraAuthenticationDelegate {
  void getCCRCredentials(CredentialsCallback callback) override { callback("a-token", nullptr); }
};

struct ServiceURL : QLCServicesURLsProviderProtocol {
  explicit ServiceURL(std::string base) : base_(std::move(base)) {}
  void getURLForService(std::uint64_t, URLCallback callback) override { callback(nullptr, base_); }
  void respondToChallenge(const ServerTrust&, ChallengeCallback) override {}

 private:
  const std::string base_;
};

void tell(Acknowledgement::Kind kind, std::int64_t value = 0) {
  const Acknowledgement acknowledgement{kind, value};
  if (::write(STDOUT_FILENO, &acknowledgement, sizeof acknowledgement) != sizeof acknowledgement) _exit(3);
}

// The longest that a file may be written from now on, in bytes; a longer write ends short, then with EFBIG.
void limitFiles(rlim_t length) {
  rlimit limit{};
  if (::getrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(4);
  limit.rlim_cur = length;
  if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(4);
}

[[noreturn]] void writeUntilKilled(const std::string& base, const std::string& directory, std::uint32_t seed,
                                   std::int64_t count, bool full) {
  std::signal(SIGXFSZ, SIG_IGN);
  setLogSink([](const LogLine&) {});
  const auto token = std::make_shared<Token>();
  QLCZephraManager manager(std::make_shared<QLCAppInfo>("corlane", "kill-test/1"), std::make_shared<ServiceURL>(base),
                           token);
  manager.setLocalFilePath(directory + "/zephra.plist");
  manager.setPatchFilePath(directory + "/patch.plist");
  manager.updateLocalSettings();
  tell(Acknowledgement::Kind::begun);

  std::mt19937 random(seed);
  bool limited = false;
  for (;; ++count) {
    if (full && random() % 4 == 0) {
      limited = !limited;
      limitFiles(limited ? random() % 400 : RLIM_INFINITY);
    }
    if (random() % 16 == 0) manager.fetchRemoteSettings([](const ErrorRef&) {});
    const auto setting = static_cast<std::int64_t>(random() % std::uint64_t{killedSettings});
    const std::int64_t value = killedValue(count, setting);
    tell(Acknowledgement::Kind::writing, value);
    manager.setSettingValue(killedSettingPath(setting), value);
    tell(limited ? Acknowledgement::Kind::unsaved : Acknowledgement::Kind::accepted, value);
    if (random() % 4 == 0) std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
  }
}

}  // namespace
}  // namespace qlczephra::test

int main(int argc, char** argv) {
  if (argc != 6) return 2;
  qlczephra::test::writeUntilKilled(argv[1], argv[2], static_cast<std::uint32_t>(std::strtoul(argv[3], nullptr, 10)),
                                    std::strtoll(argv[4], nullptr, 10), std::string_view(argv[5]) == "full");
}
