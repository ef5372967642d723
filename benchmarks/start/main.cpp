// The start of a host: from the stored settings to the first read that answers.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "benchmarks/support/bench_directory.h"
#include "benchmarks/support/documents.h"
#include "benchmarks/support/effective_tree.h"
#include "benchmarks/support/require.h"
#include "platform/plist/plist.h"
#include "qlczephra/qlczephra.h"

namespace qlczephra::bench {

namespace {

// Has nothing to say.
struct Host : QLCZephraAuthenticationDelegate, QLCServicesURLsProviderProtocol {
  void getCCRCredentials(CredentialsCallback) override {}
  void getURLForService(std::uint64_t, URLCallback) override {}
  void respondToChallenge(const ServerTrust&, ChallengeCallback) override {}
};

struct Stored {
  std::string file;
  std::string patchFile;  // there is none, as a rule
  std::string path;       // of a boolean setting
  std::shared_ptr<QLCAppInfo> appInfo = std::make_shared<QLCAppInfo>("p", "benchmark/1");
  std::shared_ptr<Host> host = std::make_shared<Host>();
};

struct Started {
  std::unique_ptr<QLCZephraManager> manager;
  std::optional<bool> read;
};

Started start(const Stored& stored) {
  Started started;
  started.manager = std::make_unique<QLCZephraManager>(stored.appInfo, stored.host, stored.host);
  started.manager->setLocalFilePath(stored.file);
  started.manager->setPatchFilePath(stored.patchFile);
  started.manager->updateLocalSettings();
  started.read = started.manager->getBoolValue(stored.path);
  return started;
}

// The file in memory, and every tag in it seen: its name's first byte, and where it ends. What tags mean, what stands
// between them, and whether they match is left open. Gives their number.
std::size_t readAndScan(const std::string& path) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status {};
  require(file >= 0 && ::fstat(file, &status) == 0, "cannot open " + path);
  const auto size = static_cast<std::size_t>(status.st_size);
  const std::unique_ptr<char[]> content(new char[size]);
  require(::read(file, content.get(), size) == static_cast<ssize_t>(size) && ::close(file) == 0, "cannot read " + path);

  std::size_t tags = 0;
  const char* at = content.get();
  const char* const last = at + size;
  const auto find = [&](char byte) {
    return static_cast<const char*>(std::memchr(at, byte, static_cast<std::size_t>(last - at)));
  };
  while ((at = find('<')) != nullptr && (at = find('>')) != nullptr) ++tags;
  return tags;
}

class Files {
 public:
  // Written and checked when first asked for.
  const Stored& of(std::size_t settings) {
    const auto [found, isNew] = all_.try_emplace(settings);
    if (isNew) write(settings, found->second);
    return found->second;
  }

 private:
  void write(std::size_t settings, Stored& stored) {
    const Document document = documentOf(settings);
    const Map tree = effectiveTreeOf(document.text);
    stored.file = directory_.file("zephra-" + std::to_string(settings) + ".plist");
    stored.patchFile = directory_.file("patch-" + std::to_string(settings) + ".plist");
    stored.path = document.booleans.at(document.booleans.size() / 2);
    std::ofstream(stored.file, std::ios::binary) << plist::write(Value(tree)).value();
    const Started started = start(stored);
    require(started.read.has_value() && started.manager->currentSettings() == tree, "the start gives other settings");
    require(readAndScan(stored.file) > settings, "the scan sees too little");
  }

  BenchDirectory directory_;
  std::map<std::size_t, Stored> all_;
};

void addOurs(Files& files, std::size_t settings) {
  ::benchmark::RegisterBenchmark(("start/ours/" + std::to_string(settings)).c_str(),
                                 [&files, settings](::benchmark::State& state) {
                                   const Stored& stored = files.of(settings);
                                   for (auto _ : state) {
                                     Started started = start(stored);
                                     require(started.read.has_value(), "the read has no answer");
                                     // The host goes on with the manager.
                                     state.PauseTiming();
                                     started.manager.reset();
                                     state.ResumeTiming();
                                   }
                                 });
}

void addScan(Files& files, std::size_t settings) {
  ::benchmark::RegisterBenchmark(("start/read and bare XML scan/" + std::to_string(settings)).c_str(),
                                 [&files, settings](::benchmark::State& state) {
                                   const Stored& stored = files.of(settings);
                                   for (auto _ : state) ::benchmark::DoNotOptimize(readAndScan(stored.file));
                                 });
}

}  // namespace

}  // namespace qlczephra::bench

int main(int argc, char** argv) {
  using namespace qlczephra::bench;
  qlczephra::setLogSink([](const qlczephra::LogLine&) {});
  Files files;
  for (const std::size_t settings : documentSizes) {
    addOurs(files, settings);
    addScan(files, settings);
  }
  for (const std::size_t settings : {1'000U, 20'000U}) addOurs(files, settings);
  ::benchmark::Initialize(&argc, argv);
  ::benchmark::RunSpecifiedBenchmarks();
  ::benchmark::Shutdown();
  return 0;
}
