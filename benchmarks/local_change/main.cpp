// One local change, from the call to the published settings, files aside; and a copy of the settings beside it.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "benchmarks/local_change/deep_copy.h"
#include "benchmarks/local_change/local_state.h"
#include "benchmarks/support/documents.h"
#include "benchmarks/support/effective_tree.h"
#include "benchmarks/support/require.h"
#include "document/tree_walk.h"

namespace qlczephra::bench {

namespace {

// The same number of paths at all sizes, so that what is in the processor's caches tells no size from another.
constexpr std::size_t changedInTurn = 32;

struct Subject {
  explicit Subject(std::size_t settings) {
    const Document document = documentOf(settings);
    tree = effectiveTreeOf(document.text);
    // Spread over the document.
    const std::size_t count = std::min<std::size_t>(document.integers.size(), 1'000);
    require(count >= changedInTurn, "there are too few settings to change");
    for (std::size_t i = 0; i < count; ++i) paths.push_back(document.integers[i * document.integers.size() / count]);
    for (const std::string& path : paths) pendingAlone.push_back(document::makePatch(path, 1));
  }

  Map tree;
  std::vector<std::string> paths;
  std::vector<Map> pendingAlone;  // each path as the one change that waits
};

// Kept until the program ends: making one takes long.
std::map<std::size_t, std::unique_ptr<Subject>> subjects;

void requireChanged(const LocalState& local, const Subject& subject, std::size_t which, std::int64_t value) {
  const Map tree = local.tree();
  const Value* found = document::valueAt(tree, subject.paths[which]);
  require(found != nullptr && *found == Value(value), "a change had no effect: " + subject.paths[which]);
  require(!(tree == subject.tree), "a change reached the settings that it was made from");
}

void changeWithOnePending(::benchmark::State& state, const Subject& subject) {
  LocalState local(subject.tree);
  std::int64_t value = 1'000'000;
  std::size_t which = 0;
  for (auto _ : state) {
    which = (which + 1) % changedInTurn;
    local.setPending(subject.pendingAlone[which]);
    local.change(subject.paths[which], ++value);
  }
  requireChanged(local, subject, which, value);
}

void changeWithManyPending(::benchmark::State& state, const Subject& subject) {
  LocalState local(subject.tree);
  Map pending;
  for (const Map& change : subject.pendingAlone) pending = document::deepMerging(pending, change);
  local.setPending(pending);
  local.change(subject.paths.front(), 0);  // from now on what is pending is in the settings, too
  std::int64_t value = 1'000'000;
  std::size_t which = 0;
  for (auto _ : state) {
    which = (which + 1) % changedInTurn;
    local.change(subject.paths[which], ++value);
  }
  requireChanged(local, subject, which, value);
}

void copy(::benchmark::State& state, const Subject& subject) {
  for (auto _ : state) ::benchmark::DoNotOptimize(deepCopyOf(subject.tree));
  const Value copied = deepCopyOf(subject.tree);
  require(copied == Value(subject.tree) && !copied.map()->sharesWith(subject.tree), "a copy is none");
}

// Replaced settings are freed by other threads, which is part of the cost.
void add(const std::string& name, std::size_t settings, void (*run)(::benchmark::State&, const Subject&)) {
  ::benchmark::RegisterBenchmark((name + "/" + std::to_string(settings)).c_str(), [settings,
                                                                                   run](::benchmark::State& state) {
    run(state, *subjects[settings]);
  })->MeasureProcessCPUTime();
}

}  // namespace

}  // namespace qlczephra::bench

int main(int argc, char** argv) {
  using namespace qlczephra::bench;
  for (const std::size_t settings : {300U, 1'000U, 5'000U, 10'000U, 20'000U, 50'000U, 100'000U}) {
    const Subject& subject = *(subjects[settings] = std::make_unique<Subject>(settings));
    add("change, 1 pending/ours", settings, changeWithOnePending);
    const bool enough = subject.paths.size() == 1'000;  // settings that so many can be pending
    if (enough) add("change, 1,000 pending/ours", settings, changeWithManyPending);
    if (settings != 300 && settings != 5'000 && settings != 100'000) continue;
    add("change, 1 pending/deep copy", settings, copy);
    if (enough) add("change, 1,000 pending/deep copy", settings, copy);
  }
  ::benchmark::Initialize(&argc, argv);
  ::benchmark::RunSpecifiedBenchmarks();
  ::benchmark::Shutdown();
  return 0;
}
