// Many managers over real sockets and files for as long as one likes, with faults, destruction and re-creation; at the
// end every change that was accepted must be at the service, and the process as large as it was.
//
// usage: qlczephra_soak SECONDS SAMPLES_FILE [SEED]
//
// SAMPLES_FILE gets a line a second: seconds, resident KiB, threads, descriptors. Exit status 1 when something was lost
// or has grown.
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <iostream>
#include <iterator>
#include <memory>
#include <mutex>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/json/json.h"
#include "qlczephra/qlczephra.h"
#include "service/http_server.h"
#include "service/sample_document.h"
#include "service/service.h"
#include "tests/support/process_use.h"
#include "tests/support/sanitizers.h"
#include "tests/support/secret_token.h"

namespace qlczephra::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int users = 200;
constexpr const char* countPath = "common.user.count";

struct Delegate : QLCZephraAuthenticationDelegate {
  void getCCRCredentials(CredentialsCallback callback) override { callback(secretToken, nullptr); }
};

struct Provider : QLCServicesURLsProviderProtocol {
  explicit Provider(std::string base) : base_(std::move(base)) {}
  void getURLForService(std::uint64_t, URLCallback callback) override { callback(nullptr, base_); }
  void respondToChallenge(const ServerTrust&, ChallengeCallback) override { std::abort(); }

 private:
  const std::string base_;
};

std::string productOf(int user) {
  return "product-" + std::to_string(user);
}

// The service in a process of its own, so that what is measured here is the library's. Made before any thread.
class ServiceProcess {
 public:
  explicit ServiceProcess(std::uint64_t seed) {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) throw std::runtime_error("no socket pair");
    child_ = ::fork();
    if (child_ == 0) {
      ::close(ends[0]);
      serve(ends[1], seed);
      ::_exit(0);
    }
    ::close(ends[1]);
    commands_ = ends[0];
    port_ = answer();
    if (port_ == 0) throw std::runtime_error("the service does not start");
  }
  ~ServiceProcess() {
    ::close(commands_);
    ::waitpid(child_, nullptr, 0);
  }
  ServiceProcess(const ServiceProcess&) = delete;
  ServiceProcess& operator=(const ServiceProcess&) = delete;

  [[nodiscard]] std::string url() const { return "http://127.0.0.1:" + std::to_string(port_); }
  void makeTrouble() const { command('t'); }
  void endTrouble() const { command('e'); }
  [[nodiscard]] std::uint64_t requests() const {
    command('r');
    return answer();
  }

 private:
  void command(char letter) const {
    if (::send(commands_, &letter, 1, MSG_NOSIGNAL) != 1) throw std::runtime_error("the service is gone");
  }
  [[nodiscard]] std::uint64_t answer() const {
    std::uint64_t number = 0;
    if (::recv(commands_, &number, sizeof number, MSG_WAITALL) != sizeof number) {
      throw std::runtime_error("the service is gone");
    }
    return number;
  }

  // ---- in the child
  static void serve(int commands, std::uint64_t seed) {
    service::Service service(service::ServiceOptions{.logCapacity = 100});
    const auto document = std::get<Value>(json::read(service::sampleDocument()));
    for (int user = 0; user < users; ++user) service.store().setDocument(productOf(user), withCount(*document.map()));
    service::ServiceServer server(service);
    const bool started = server.start();
    reply(commands, started ? portOf(server.url()) : 0);
    std::mt19937_64 random(seed);
    for (char letter = 0; started && ::recv(commands, &letter, 1, 0) == 1;) {
      if (letter == 't') addFaults(service.faults(), random);
      if (letter == 'e') service.faults().clear();
      if (letter == 'r') reply(commands, service.log().count());
    }
    server.stop();
  }
  static void reply(int commands, std::uint64_t number) {
    static_cast<void>(::send(commands, &number, sizeof number, MSG_NOSIGNAL));
  }
  static std::uint64_t portOf(const std::string& url) { return std::stoull(url.substr(url.rfind(':') + 1)); }

  // The document with a writable number at `countPath`.
  static Map withCount(const Map& document) {
    const Map& data = *document.find("data")->map();
    const Map& schema = *data.find("eff_schema")->map();
    const Map& common = *schema.find("common")->map();
    const Map user{{"properties", Map{{"count", Map{{"type", "integer"}, {"default", 0}}}}}};
    const Map properties = common.find("properties")->map()->with("user", user);
    return document.with("data", data.with("eff_schema", schema.with("common", common.with("properties", properties))));
  }

  static void addFaults(service::FaultScript& script, std::mt19937_64& random) {
    constexpr int statuses[] = {500, 503, 429, 403, 412, 400};
    if (script.remaining() > 50) return;
    std::vector<service::Fault> faults;
    for (int i = 0; i < 3; ++i) {
      service::Fault fault;
      fault.count = 1 + random() % 5;
      fault.onlyAfter = random() % 50;
      fault.apply = random() % 2 == 0;
      if (random() % 2 == 0) fault.status = statuses[random() % std::size(statuses)];
      if (random() % 4 == 0)
        fault.drop = random() % 2 == 0 ? service::Drop::beforeHeaders : service::Drop::afterHeaders;
      fault.delay = std::chrono::milliseconds(random() % 300);
      // Two hours of silence would leave nothing to see.
      if (fault.status == 429) fault.method = "GET";
      faults.push_back(fault);
    }
    script.add(std::move(faults));
  }

  pid_t child_ = -1;
  int commands_ = -1;
  std::uint64_t port_ = 0;
};

// One user of the host: a manager that comes and goes, and the newest value that was written.
struct User {
  std::mutex mutex;
  std::unique_ptr<QLCZephraManager> manager;
  std::int64_t written = 0;
};

struct Sample {
  double seconds = 0;
  std::int64_t kibibytes = 0;
  std::int64_t threads = 0;
  std::int64_t descriptors = 0;
};

Sample sampleNow(Clock::time_point begin) {
  std::ifstream statm("/proc/self/statm");
  std::int64_t pages = 0;
  statm >> pages >> pages;
  return {std::chrono::duration<double>(Clock::now() - begin).count(), pages * 4, threadsOfProcess(),
          openDescriptors()};
}

class Soak {
 public:
  Soak(ServiceProcess& service, std::string directory, std::uint64_t seed)
      : service_(service),
        directory_(std::move(directory)),
        random_(seed),
        provider_(std::make_shared<Provider>(service.url())) {}

  std::vector<Sample> run(std::chrono::seconds duration, std::ostream& samplesFile) {
    const auto begin = Clock::now();
    std::vector<std::thread> hosts;
    for (int host = 0; host < 4; ++host) {
      hosts.emplace_back([this, seed = random_()] { actAsHost(seed); });
    }
    std::vector<Sample> samples;
    while (Clock::now() - begin < duration) {
      std::this_thread::sleep_for(1s);
      service_.makeTrouble();
      const Sample& sample = samples.emplace_back(sampleNow(begin));
      samplesFile << sample.seconds << ' ' << sample.kibibytes << ' ' << sample.threads << ' ' << sample.descriptors
                  << std::endl;
    }
    end_ = true;
    for (std::thread& host : hosts) host.join();
    return samples;
  }

  // Has everything sent, and counts the users whose newest value the service does not have in the end.
  int countLosses() {
    service_.endTrouble();
    int losses = 0;
    for (int number = 0; number < users; ++number) {
      User& user = users_[static_cast<std::size_t>(number)];
      user.manager.reset();
      user.manager = makeManager(number);
      user.manager->updateLocalSettings();
    }
    const auto deadline = Clock::now() + 120s;
    for (int number = 0; number < users; ++number) {
      const std::string patch = patchPathOf(number);
      const std::string sending = patch.substr(0, patch.size() - 6) + "-sending.plist";
      while ((std::filesystem::exists(patch) || std::filesystem::exists(sending)) && Clock::now() < deadline) {
        std::this_thread::sleep_for(10ms);
      }
      // Somebody who knows nothing asks.
      const std::int64_t wanted = users_[static_cast<std::size_t>(number)].written;
      QLCZephraManager stranger(std::make_shared<QLCAppInfo>(productOf(number), "soak/1"), provider_, delegate_);
      std::promise<void> fetched;
      stranger.fetchRemoteSettings([&](const ErrorRef&) { fetched.set_value(); });
      fetched.get_future().wait();
      const auto count = stranger.getNumberValue(countPath);
      if (count == wanted) continue;
      std::cerr << "user " << number << ": the service has " << count.value_or(-1) << ", written was " << wanted
                << "\n";
      ++losses;
    }
    return losses;
  }

  [[nodiscard]] std::uint64_t writes() const noexcept { return writes_; }
  [[nodiscard]] std::uint64_t fetches() const noexcept { return fetches_; }
  [[nodiscard]] std::uint64_t creations() const noexcept { return creations_; }
  [[nodiscard]] std::uint64_t requests() const { return service_.requests(); }

 private:
  [[nodiscard]] std::string patchPathOf(int user) const {
    return directory_ + "/patch-" + std::to_string(user) + ".plist";
  }

  std::unique_ptr<QLCZephraManager> makeManager(int user) {
    auto manager = std::make_unique<QLCZephraManager>(std::make_shared<QLCAppInfo>(productOf(user), "soak/1"),
                                                      provider_, delegate_);
    manager->setLocalFilePath(directory_ + "/zephra-" + std::to_string(user) + ".plist");
    manager->setPatchFilePath(patchPathOf(user));
    ++creations_;
    return manager;
  }

  void actAsHost(std::uint64_t seed) {
    std::mt19937_64 random(seed);
    while (!end_) {
      const int number = static_cast<int>(random() % users);
      User& user = users_[static_cast<std::size_t>(number)];
      {
        const std::lock_guard lock(user.mutex);
        if (user.manager == nullptr) {
          user.manager = makeManager(number);
          user.manager->updateLocalSettings();
        }
        act(random, user);
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(random() % 4));
    }
  }

  void act(std::mt19937_64& random, User& user) {
    switch (random() % 10) {
      case 0:
        user.manager.reset();
        break;
      case 1:
        user.manager->updateLocalSettings();
        break;
      case 2:
        user.manager->setPNSID(std::to_string(random()), [](const ErrorRef&) {});
        break;
      case 3:
      case 4:
        user.manager->setSettingValue(countPath, ++user.written);
        ++writes_;
        break;
      case 5:
      case 6:
        ++fetches_;
        user.manager->fetchRemoteSettings([](const ErrorRef&) {});
        break;
      default: {
        // Whatever is known of the count is no newer than what was written.
        const auto count = user.manager->getNumberValue(countPath);
        if (count && *count > user.written) std::abort();
      }
    }
  }

  ServiceProcess& service_;
  const std::string directory_;
  std::mt19937_64 random_;
  const std::shared_ptr<Provider> provider_;
  const std::shared_ptr<Delegate> delegate_ = std::make_shared<Delegate>();
  std::vector<User> users_{users};
  std::atomic<bool> end_{false};
  std::atomic<std::uint64_t> writes_{0};
  std::atomic<std::uint64_t> fetches_{0};
  std::atomic<std::uint64_t> creations_{0};
};

// The middle value of a field over a part of the samples, given in quarters.
std::int64_t middle(const std::vector<Sample>& samples, std::size_t firstQuarter, std::int64_t Sample::*field) {
  std::vector<std::int64_t> values;
  const std::size_t begin = samples.size() * firstQuarter / 4;
  const std::size_t end = samples.size() * (firstQuarter + 1) / 4;
  for (std::size_t i = begin; i < end; ++i) values.push_back(samples[i].*field);
  std::sort(values.begin(), values.end());
  return values.empty() ? 0 : values[values.size() / 2];
}

int report(const Soak& soak, const std::vector<Sample>& samples, int losses) {
  struct Row {
    const char* name;
    std::int64_t Sample::*field;
    std::int64_t slack;
  };
  const Row rows[] = {{"KiB resident", &Sample::kibibytes, 4096},
                      {"threads", &Sample::threads, 8},
                      {"descriptors", &Sample::descriptors, 64}};
  int faults = losses;
  std::cout << soak.writes() << " writes, " << soak.fetches() << " fetches, " << soak.creations() << " managers made, "
            << soak.requests() << " requests, " << losses << " users whose newest value was lost\n";
  for (const Row& row : rows) {
    const std::int64_t early = middle(samples, 1, row.field);
    const std::int64_t late = middle(samples, 3, row.field);
    // Under a sanitizer freed memory is kept for a while.
    const bool counts = !underSanitizer || row.field != &Sample::kibibytes;
    const bool grew = counts && late > early + row.slack + early / 20;
    faults += grew ? 1 : 0;
    std::cout << row.name << ": " << early << " in the second quarter, " << late << " in the last"
              << (grew ? ", which is growth" : "") << "\n";
  }
  return faults == 0 ? 0 : 1;
}

}  // namespace
}  // namespace qlczephra::test

int main(int count, char** arguments) {
  using namespace qlczephra;
  const int seconds = count >= 3 ? std::atoi(arguments[1]) : 0;
  if (seconds < 4 || count > 4) {
    std::cerr << "qlczephra_soak: wrong arguments; give SECONDS (4 or more) SAMPLES_FILE [SEED]\n";
    return 2;
  }
  setLogSink([](const LogLine& line) { test::requireNoToken(line.message, "a log line"); });
  std::string directory = (std::filesystem::temp_directory_path() / "qlczephra-soak-XXXXXX").string();
  if (::mkdtemp(directory.data()) == nullptr) {
    std::cerr << "qlczephra_soak: no directory " << directory << "; is the temporary directory writable?\n";
    return 1;
  }
  int status = 1;
  {
    const auto seed = count == 4 ? std::strtoull(arguments[3], nullptr, 10) : std::random_device()();
    std::cout << "seed " << seed << std::endl;
    test::ServiceProcess service(seed);
    test::Soak soak(service, directory, seed);
    std::ofstream samplesFile(arguments[2]);
    const auto samples = soak.run(std::chrono::seconds(seconds), samplesFile);
    status = test::report(soak, samples, soak.countLosses());
  }
  std::error_code ignored;
  std::filesystem::remove_all(directory, ignored);
  return status;
}
