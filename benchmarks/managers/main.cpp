// What managers cost that do nothing: time to make and destroy one, heap bytes of each.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "benchmarks/support/documents.h"
#include "benchmarks/support/effective_tree.h"
#include "benchmarks/support/require.h"
#include "qlczephra/qlczephra.h"

namespace qlczephra::bench {
namespace {

using Clock = std::chrono::steady_clock;

// Neither is ever asked here.
struct SilentDelegate : QLCZephraAuthenticationDelegate {
  void getCCRCredentials(CredentialsCallback) override {}
};

struct NoURL : QLCServicesURLsProviderProtocol {
  void getURLForService(std::uint64_t, URLCallback) override {}
  void respondToChallenge(const ServerTrust&, ChallengeCallback) override {}
};

using Managers = std::vector<std::unique_ptr<QLCZephraManager>>;

// A host with many users: the objects that it lends are the same for all of them.
class Host {
 public:
  [[nodiscard]] std::unique_ptr<QLCZephraManager> make() const {
    return std::make_unique<QLCZephraManager>(appInfo_, provider_, delegate_);
  }
  // With all that a manager has after a first fetch: its user's paths and token, and a tree, which is one for all.
  [[nodiscard]] std::unique_ptr<QLCZephraManager> makeInUse(std::size_t uid, const Map& tree) const {
    auto manager = make();
    manager->setLocalFilePath(QLCZephraManager::localSettingsFileForUid(static_cast<std::int64_t>(uid)));
    manager->setPatchFilePath(QLCZephraManager::patchSettingsFileForUid(static_cast<std::int64_t>(uid)));
    manager->setCcrToken(std::string(40, 't'));
    manager->setCurrentSettings(tree);
    return manager;
  }

 private:
  const std::shared_ptr<QLCAppInfo> appInfo_ = std::make_shared<QLCAppInfo>("corlane", "benchmark/1");
  const std::shared_ptr<NoURL> provider_ = std::make_shared<NoURL>();
  const std::shared_ptr<SilentDelegate> delegate_ = std::make_shared<SilentDelegate>();
};

// In use, with what the allocator adds to each block.
std::size_t heapBytes() {
  const auto info = ::mallinfo2();
  return info.uordblks + info.hblkhd;
}

template <typename Action>
double microsecondsOf(Action action) {
  const auto begin = Clock::now();
  action();
  return std::chrono::duration<double, std::micro>(Clock::now() - begin).count();
}

// "value": of each of the managers. Real time: of all of them.
void makeAndDestroy(::benchmark::State& state) {
  const Host host;
  const auto count = static_cast<std::size_t>(state.range(0));
  double spent = 0;
  for (auto round : state) {
    static_cast<void>(round);
    spent += microsecondsOf([&] {
      Managers managers;
      managers.reserve(count);
      for (std::size_t made = 0; made < count; ++made) managers.push_back(host.make());
      ::benchmark::DoNotOptimize(managers.data());
    });
  }
  state.counters["value"] = spent / static_cast<double>(state.iterations()) / static_cast<double>(count);
}

// Bytes of each manager that `make` makes, the host's own pointer to it left out.
template <typename Make>
double bytesEach(std::size_t count, Make make) {
  Managers managers;
  managers.reserve(count);
  const std::size_t before = heapBytes();
  for (std::size_t made = 0; made < count; ++made) managers.push_back(make(made));
  const std::size_t after = heapBytes();
  return static_cast<double>(after - before) / static_cast<double>(count);
}

void idleBytes(::benchmark::State& state) {
  const Host host;
  double bytes = 0;
  for (auto round : state) {
    static_cast<void>(round);
    bytes = bytesEach(static_cast<std::size_t>(state.range(0)), [&](std::size_t) { return host.make(); });
  }
  state.counters["value"] = bytes;
}

// Once the workers have done what the setters gave them.
void idleBytesInUse(::benchmark::State& state) {
  const Host host;
  const Map tree = effectiveTreeOf(documentOf(documentSizes[0]).text);
  const auto count = static_cast<std::size_t>(state.range(0));
  double bytes = 0;
  for (auto round : state) {
    static_cast<void>(round);
    Managers managers;
    managers.reserve(count);
    const std::size_t before = heapBytes();
    for (std::size_t made = 0; made < count; ++made) managers.push_back(host.makeInUse(made, tree));
    require(managers.back()->getDictValue("common").has_value(), "a manager has no settings");
    std::size_t seen = 0;
    for (std::size_t now = heapBytes(); now != seen; now = heapBytes()) {
      seen = now;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    bytes = (static_cast<double>(seen) - static_cast<double>(before)) / static_cast<double>(count);
  }
  state.counters["value"] = bytes;
}

}  // namespace
}  // namespace qlczephra::bench

int main(int argc, char** argv) {
  using namespace qlczephra::bench;
  qlczephra::setLogSink([](const qlczephra::LogLine&) {});
  ::benchmark::Initialize(&argc, argv);
  if (::benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  for (const std::int64_t count : {100, 1'000, 2'000, 5'000, 10'000}) {
    ::benchmark::RegisterBenchmark("idle manager: make and destroy/ours", makeAndDestroy)->Arg(count);
    ::benchmark::RegisterBenchmark("idle managers: make and destroy all/ours", makeAndDestroy)->Arg(count);
    ::benchmark::RegisterBenchmark("idle manager: bytes/ours", idleBytes)->Arg(count);
    ::benchmark::RegisterBenchmark("idle manager with settings: bytes/ours", idleBytesInUse)->Arg(count);
  }
  ::benchmark::RunSpecifiedBenchmarks();
  ::benchmark::Shutdown();
  return 0;
}
