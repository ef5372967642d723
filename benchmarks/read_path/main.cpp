// Reading a boolean by dotted path, while another thread replaces the settings a hundred times a second.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "benchmarks/read_path/allocations.h"
#include "benchmarks/read_path/replacing.h"
#include "benchmarks/read_path/subject.h"
#include "benchmarks/support/documents.h"
#include "benchmarks/support/require.h"

namespace qlczephra::bench {

namespace {

// Kept until the program ends: making one takes long.
std::map<std::size_t, std::unique_ptr<Subject>> subjects;

// Settings that are replaced meanwhile, in one of these; nothing for peers that cannot bear it.
using Replace = void (*)(Subject&, std::size_t which);
void replaceNothing(Subject&, std::size_t) {}
void replaceSettings(Subject& subject, std::size_t which) {
  subject.manager->setCurrentSettings(subject.trees[which]);
}
void replaceMaps(Subject& subject, std::size_t which) {
  subject.peers->nestedMaps.replace(subject.peers->roots[which]);
}

// `read(subject, i)` reads the i-th path.
template <typename Read>
void readInTurn(::benchmark::State& state, Subject& subject, Replace replace, Read read) {
  const std::size_t count = subject.paths.size();
  std::optional<Replacing> replacing;
  if (state.thread_index() == 0 && replace != replaceNothing) {
    replacing.emplace([&subject, replace, which = std::size_t{0}]() mutable { replace(subject, which ^= 1U); });
  }
  for (std::size_t i = 0; i < count; ++i) ::benchmark::DoNotOptimize(read(subject, i));
  while (state.KeepRunningBatch(static_cast<::benchmark::IterationCount>(count))) {
    for (std::size_t i = 0; i < count; ++i) ::benchmark::DoNotOptimize(read(subject, i));
  }
}

template <typename Read>
::benchmark::internal::Benchmark* add(const std::string& name, std::size_t settings, Replace replace, Read read) {
  return ::benchmark::RegisterBenchmark(
      (name + "/" + std::to_string(settings)).c_str(),
      [settings, replace, read](::benchmark::State& state) { readInTurn(state, *subjects[settings], replace, read); });
}

std::optional<bool> readByText(Subject& subject, std::size_t i) {
  return subject.manager->getBoolValue(subject.paths[i]);
}
std::optional<bool> readPrepared(Subject& subject, std::size_t i) {
  return subject.manager->getBoolValue(subject.prepared[i]);
}
std::optional<bool> readMaps(Subject& subject, std::size_t i) {
  return subject.peers->nestedMaps.boolean(subject.paths[i]);
}
std::size_t hashPath(Subject& subject, std::size_t i) {
  return std::hash<std::string_view>()(subject.paths[i]);
}

void addOurs(std::size_t settings) {
  add("read/ours", settings, replaceSettings, readByText);
  add("read/hash of the path", settings, replaceNothing, hashPath);
  add("read prepared/ours", settings, replaceSettings, readPrepared);
}

void addPeers(std::size_t settings) {
  add("read/nlohmann json_pointer", settings, replaceNothing, [](Subject& subject, std::size_t i) {
    return subject.peers->nlohmann.boolean(nlohmann::json::json_pointer(subject.pointers[i]));
  });
  add("read/boost property_tree", settings, replaceNothing,
      [](Subject& subject, std::size_t i) { return subject.peers->propertyTree.boolean(subject.paths[i]); });
  add("read/RapidJSON Pointer", settings, replaceNothing,
      [](Subject& subject, std::size_t i) { return subject.peers->rapidJson.boolean(subject.pointers[i]); });
  add("read/mutex and nested unordered_map", settings, replaceMaps, readMaps);

  add("read prepared/ours, by text", settings, replaceSettings, readByText);
  add("read prepared/nlohmann json_pointer, parsed beforehand", settings, replaceNothing,
      [](Subject& subject, std::size_t i) { return subject.peers->nlohmann.boolean(subject.parsedPointers[i]); });
  add("read prepared/pointer chase", settings, replaceNothing,
      [](Subject& subject, std::size_t i) { return subject.peers->chased.valueAt(subject.peers->routes[i]); });

  add("read on two threads/ours", settings, replaceSettings, readByText)->Threads(2)->UseRealTime();
  add("read on two threads/ours, one thread", settings, replaceSettings, readByText)->UseRealTime();
  add("read on two threads/mutex and nested unordered_map", settings, replaceMaps, readMaps)->Threads(2)->UseRealTime();
}

// With the settings being replaced, too: what is found anew is kept without asking for memory.
void requireNoAllocation(Subject& subject) {
  const auto readAll = [&] {
    for (std::size_t i = 0; i < subject.paths.size(); ++i) {
      ::benchmark::DoNotOptimize(readByText(subject, i));
      ::benchmark::DoNotOptimize(readPrepared(subject, i));
    }
  };
  readAll();
  for (std::size_t which = 0; which < subject.trees.size(); ++which) {
    replaceSettings(subject, which);
    const std::size_t before = allocationsOfThread();
    readAll();
    readAll();
    const std::size_t asked = allocationsOfThread() - before;
    require(asked == 0, "a read asked for memory");
  }
}

}  // namespace

}  // namespace qlczephra::bench

int main(int argc, char** argv) {
  using namespace qlczephra::bench;
  for (const std::size_t settings : documentSizes) {
    subjects[settings] = std::make_unique<Subject>(settings, true);
    addOurs(settings);
    addPeers(settings);
  }
  for (const std::size_t settings : {1'000U, 20'000U}) {
    subjects[settings] = std::make_unique<Subject>(settings, false);
    addOurs(settings);
  }
  for (const auto& [settings, subject] : subjects) requireNoAllocation(*subject);
  ::benchmark::Initialize(&argc, argv);
  ::benchmark::RunSpecifiedBenchmarks();
  ::benchmark::Shutdown();
  subjects.clear();
  return 0;
}
