// What an accepted change costs, against the bare flushed file replacements that it needs.
//
// usage: write_cost [DIRECTORY [ROUNDS]]
//
// DIRECTORY (default: the present one) tells which disk is measured. A change through the manager and a bare
// replacement of as many bytes alternate, so that both meet the same disk; each pair gives a ratio.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "benchmarks/accepted_write/bare_replacement.h"
#include "qlczephra/qlczephra.h"

namespace qlczephra::benchmark {
namespace {

using Microseconds = std::chrono::duration<double, std::micro>;

// Never answers. The first change is thus "being uploaded" for good, and all later ones gather in the patch file.
struct SilentDelegate : QLCZephraAuthenticationDelegate {
  void getCCRCredentials(CredentialsCallback) override {}
};

struct NoURL : QLCServicesURLsProviderProtocol {
  void getURLForService(std::uint64_t, URLCallback) override {}
  void respondToChallenge(const ServerTrust&, ChallengeCallback) override {}
};

constexpr int settingsInGroup = 50;

std::string pathOf(int setting) {
  return "common.g" + std::to_string(setting / settingsInGroup) + ".s" + std::to_string(setting % settingsInGroup);
}

// An effective settings tree of so many integer settings, in groups.
Map treeOf(int settings) {
  Map::Builder groups;
  for (int first = 0; first < settings; first += settingsInGroup) {
    Map::Builder group;
    for (int setting = 0; setting < std::min(settingsInGroup, settings - first); ++setting) {
      group.set("s" + std::to_string(setting), Map{{"v", 0}, {"ro", false}});
    }
    groups.set("g" + std::to_string(first / settingsInGroup), Map{{"v", group.build()}});
  }
  return Map{{"common", Map{{"v", groups.build()}}}};
}

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

template <typename Action>
double timeOf(Action action) {
  const auto begin = std::chrono::steady_clock::now();
  action();
  return Microseconds(std::chrono::steady_clock::now() - begin).count();
}

double medianOf(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
  return values[values.size() / 2];
}

struct Workload {
  const char* name;
  int settings;
  int pending;
};

class Measurement {
 public:
  Measurement(const std::string& directory, const Workload& workload)
      : directory_(directory), workload_(workload), delegate_(std::make_shared<SilentDelegate>()) {
    std::filesystem::create_directory(directory_);
    manager_ = std::make_unique<QLCZephraManager>(std::make_shared<QLCAppInfo>("p", "benchmark/1"),
                                                  std::make_shared<NoURL>(), delegate_);
    manager_->setLocalFilePath(directory_ + "/zephra.plist");
    manager_->setPatchFilePath(directory_ + "/patch.plist");
    manager_->setCurrentSettings(treeOf(workload.settings));
    manager_->setSettingValue("common.upload", 1);  // begins the upload that never ends
    for (int setting = 0; setting < workload.pending; ++setting) manager_->setSettingValue(pathOf(setting), 1'000'000);
    const std::string patch = contentOf(directory_ + "/patch.plist");
    const std::string local = contentOf(directory_ + "/zephra.plist");
    bytes_ = {patch.size(), local.size()};
    bare_ = std::make_unique<BareReplacement>(directory_, patch, local);
  }
  Measurement(const Measurement&) = delete;
  Measurement& operator=(const Measurement&) = delete;
  ~Measurement() {
    manager_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }

  void round(int number) {
    const auto change = [&] { manager_->setSettingValue(pathOf(0), 1'000'001 + number); };
    const auto replace = [&] { bare_->run(); };
    if (number % 2 == 0) changes_.push_back(timeOf(change));
    bares_.push_back(timeOf(replace));
    if (number % 2 != 0) changes_.push_back(timeOf(change));
  }

  void print() const {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < changes_.size(); ++i) ratios.push_back(changes_[i] / bares_[i]);
    std::printf("%-30s %8zu %8zu %11.0f %11.0f %8.2f %8.2f..%.2f\n", workload_.name, bytes_.patch, bytes_.local,
                medianOf(changes_), medianOf(bares_), medianOf(ratios), *std::min_element(ratios.begin(), ratios.end()),
                *std::max_element(ratios.begin(), ratios.end()));
  }

 private:
  struct Bytes {
    std::size_t patch = 0;
    std::size_t local = 0;
  };

  const std::string directory_;
  const Workload workload_;
  std::shared_ptr<SilentDelegate> delegate_;
  std::unique_ptr<QLCZephraManager> manager_;
  std::unique_ptr<BareReplacement> bare_;
  Bytes bytes_;
  std::vector<double> changes_;
  std::vector<double> bares_;
};

void measure(const std::string& directory, int rounds) {
  const Workload workloads[] = {{"50 settings, 1 pending", 50, 1},
                                {"5,000 settings, 1 pending", 5000, 1},
                                {"1,000 settings, 1,000 pending", 1000, 1000},
                                {"5,000 settings, 1,000 pending", 5000, 1000}};
  setLogSink([](const LogLine&) {});
  std::vector<std::unique_ptr<Measurement>> measurements;
  for (const Workload& workload : workloads) {
    const std::string own = directory + "/write-cost-" + std::to_string(measurements.size());
    measurements.push_back(std::make_unique<Measurement>(own, workload));
  }
  for (int number = 0; number < rounds; ++number) {
    for (const auto& measurement : measurements) measurement->round(number);
  }
  std::printf("%-30s %8s %8s %11s %11s %8s %s\n", "", "patch", "local", "change", "bare", "ratio", "of a pair");
  std::printf("%-30s %8s %8s %11s %11s %8s %s\n", "", "bytes", "bytes", "median us", "median us", "median", "min..max");
  for (const auto& measurement : measurements) measurement->print();
}

}  // namespace
}  // namespace qlczephra::benchmark

int main(int argc, char** argv) {
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 200;
  if (argc > 3 || rounds < 1) {
    std::fprintf(stderr, "usage: write_cost [DIRECTORY [ROUNDS]]\n");
    return 2;
  }
  qlczephra::benchmark::measure(argc > 1 ? argv[1] : ".", rounds);
  return 0;
}
