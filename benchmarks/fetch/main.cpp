// Fetches over sockets, against libcurl alone: one at a time, "not modified", over TLS, and from many managers at once.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "benchmarks/fetch/bare_handle.h"
#include "benchmarks/fetch/bare_multi.h"
#include "benchmarks/fetch/host.h"
#include "benchmarks/fetch/slice.h"
#include "benchmarks/fetch/world.h"
#include "benchmarks/support/require.h"

namespace qlczephra::bench {
namespace {

constexpr std::size_t managersAtOnce = 1'000;

void nothing() {}

void add(const std::string& name, Quantity quantity, const std::function<void()>& before,
         const std::function<void()>& action, int warmUps = 3) {
  ::benchmark::RegisterBenchmark(
      name.c_str(), [=](::benchmark::State& state) { measureSlices(state, quantity, warmUps, before, action); });
}

struct NamedQuantity {
  const char* name;
  Quantity quantity;
};
constexpr NamedQuantity quantities[] = {{": CPU", Quantity::cpu}, {": latency", Quantity::latency}};

void addFetches(World& world, bool secure, std::size_t settings) {
  const auto pair = std::make_shared<Pair>(world, secure, settings);
  const std::string row = secure ? "fetch, TLS" : "fetch, plain";
  const auto forgetting = [pair] { forget(pair->manager()); };
  const std::string size = "/" + std::to_string(settings);
  for (const auto& [name, quantity] : quantities) {
    add(row + name + "/ours" + size, quantity, forgetting, [pair] { fetchAll(pair->managers); });
    add(row + name + "/bare libcurl handle, reused" + size, quantity, nothing,
        [pair] { ::benchmark::DoNotOptimize(pair->bare.get().data()); });
    if (secure) continue;
    // How much of the difference is the document and not the way it came.
    add(row + name + "/bare handle and interpretation" + size, quantity, nothing, [pair] {
      const Map tree = effectiveTreeOf(pair->bare.get());
      ::benchmark::DoNotOptimize(&tree);
    });
  }
}

// The status that the service answers the fetch of one manager with, as the log tells it.
std::string statusOfFetch(const Pair& pair) {
  constexpr std::string_view words = "Zephra responded with status ";
  std::string status;
  setLogSink([&](const LogLine& line) {
    if (line.message.starts_with(words)) status = line.message.substr(words.size());
  });
  fetchAll(pair.managers);
  setLogSink([](const LogLine&) {});
  return status;
}

void addPolls(const std::shared_ptr<Pair>& pair) {
  require(statusOfFetch(*pair) == "304", "a second fetch is not answered with \"not modified\"");
  forget(pair->manager());
  require(statusOfFetch(*pair) == "200", "a manager without a document is not sent one");
  const auto forgetting = [pair] { forget(pair->manager()); };
  const auto fetch = [pair] { fetchAll(pair->managers); };
  for (const auto& [name, quantity] : quantities) {
    add(std::string("304 poll") + name + "/ours", quantity, nothing, fetch);
    add(std::string("304 poll") + name + "/ours, 200", quantity, forgetting, fetch);
  }
}

void addSequence(const std::shared_ptr<Pair>& pair) {
  add(
      "TLS in sequence/ours", Quantity::latency, [pair] { forget(pair->manager()); },
      [pair] { fetchAll(pair->managers); });
  add("TLS in sequence/new libcurl handle per request", Quantity::latency, nothing, [pair] {
    BareHandle fresh(pair->request);
    ::benchmark::DoNotOptimize(fresh.get().data());
  });
}

void addMany(World& world, std::size_t settings) {
  struct Many {
    Many(World& world, std::size_t settings)
        : host(world.machine, world.url(false), productOf(settings)),
          request(world.url(false), productOf(settings), world.bundle.path()) {
      for (std::size_t made = 0; made < managersAtOnce; ++made) managers.push_back(host.make());
      fetchAll(managers);
      bare.getAll();
      const Map tree = effectiveTreeOf(bare.firstBody());
      for (const auto& manager : managers)
        require(manager->currentSettings() == tree, "the two got different documents");
    }
    Host host;
    BareRequest request;
    Managers managers;
    BareMulti bare{request, managersAtOnce};
  };
  const auto many = std::make_shared<Many>(world, settings);
  const std::string size = "/" + std::to_string(settings);
  // A round takes long, and hardly any connection is left of the one before.
  constexpr int warmUps = 0;
  add(
      "1,000 managers at once/ours" + size, Quantity::latency,
      [many] {
        for (const auto& manager : many->managers) forget(*manager);
      },
      [many] { fetchAll(many->managers); }, warmUps);
  add(
      "1,000 managers at once/bare libcurl multi loop" + size, Quantity::latency, nothing,
      [many] { many->bare.getAll(); }, warmUps);
}

std::size_t threadsOfLibrary() {
  std::size_t count = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    std::getline(std::ifstream(task.path() / "comm"), name);
    if (name.starts_with("qlczephra")) ++count;
  }
  return count;
}

// Threads that were added while host code held others up leave after five idle seconds.
double idleThreads(World& world) {
  const Host host(world.machine, world.url(false), productOf(sizes[0]));
  Managers managers;
  for (std::size_t made = 0; made < managersAtOnce; ++made) managers.push_back(host.make());
  fetchAll(managers);
  std::this_thread::sleep_for(std::chrono::milliseconds(5'500));
  const std::size_t threads = threadsOfLibrary();
  require(threads != 0, "the library's threads are not called as they were");
  return static_cast<double>(threads);
}

void addThreads(World& world) {
  ::benchmark::RegisterBenchmark("threads with 1,000 idle managers/ours", [&world](::benchmark::State& state) {
    static const double threads = idleThreads(world);  // waits long, once
    for (auto iteration : state) {
      static_cast<void>(iteration);
      ::benchmark::DoNotOptimize(threadsOfLibrary());
    }
    state.counters["value"] = threads;
  });
}

}  // namespace
}  // namespace qlczephra::bench

int main(int argc, char** argv) {
  using namespace qlczephra::bench;
  qlczephra::setLogSink([](const qlczephra::LogLine&) {});
  World world;
  ::benchmark::Initialize(&argc, argv);
  for (const std::size_t settings : sizes) {
    addFetches(world, false, settings);
    addFetches(world, true, settings);
    addMany(world, settings);
  }
  addPolls(std::make_shared<Pair>(world, false, 300));
  addSequence(std::make_shared<Pair>(world, true, sizes[0]));
  addThreads(world);
  ::benchmark::RunSpecifiedBenchmarks();
  ::benchmark::ClearRegisteredBenchmarks();  // lets go of the managers before the machine ends
  ::benchmark::Shutdown();
  return 0;
}
