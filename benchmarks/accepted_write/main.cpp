// What a change and a fetched document cost until they are stored, against the bare files that they need.
#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <utility>

#include "benchmarks/accepted_write/bare_replacement.h"
#include "benchmarks/accepted_write/pending_world.h"
#include "benchmarks/accepted_write/reply_world.h"
#include "benchmarks/support/bench_directory.h"
#include "benchmarks/support/documents.h"

namespace qlczephra::bench {

namespace {

// Made when first asked for, and gone before the threads of the library are.
class PendingWorlds {
 public:
  PendingWorld& of(int settings, int pending) {
    return worlds_.try_emplace(std::pair(settings, pending), settings, pending).first->second;
  }

 private:
  std::map<std::pair<int, int>, PendingWorld> worlds_;
};

void addChange(PendingWorlds& worlds, const std::string& row, int settings, int pending) {
  const auto add = [&](const std::string& who, auto work) {
    ::benchmark::RegisterBenchmark((row + "/" + who + "/" + std::to_string(settings)).c_str(),
                                   [&worlds, settings, pending, work](::benchmark::State& state) {
                                     PendingWorld& world = worlds.of(settings, pending);
                                     for (auto _ : state) work(world);
                                   })
        ->UseRealTime();
  };
  add("ours", [](PendingWorld& world) { world.change(); });
  add("bare replacements", [](PendingWorld& world) { world.replaceFiles(); });
}

void addReply(std::size_t settings) {
  const std::string size = "/" + std::to_string(settings);
  ::benchmark::RegisterBenchmark(("apply 200/ours" + size).c_str(), [settings](::benchmark::State& state) {
    ReplyWorld world(repliesWith(settings));
    for (auto _ : state) state.SetIterationTime(world.applyReply().count());
  })->UseManualTime();
  ::benchmark::RegisterBenchmark(("apply 200/bare write, flush, rename" + size).c_str(),
                                 [settings](::benchmark::State& state) {
                                   const std::string& content = repliesWith(settings).stored;
                                   const BenchDirectory directory;
                                   const std::string file = directory.file("zephra.plist");
                                   for (auto _ : state) replaceBarely(file, content);
                                 })
      ->UseRealTime();
}

}  // namespace

}  // namespace qlczephra::bench

int main(int argc, char** argv) {
  using namespace qlczephra::bench;
  qlczephra::setLogSink([](const qlczephra::LogLine&) {});
  PendingWorlds pending;
  for (const int settings : {50, 5'000}) addChange(pending, "accepted write", settings, 1);
  for (const int settings : {1'000, 5'000}) addChange(pending, "accepted write, 1000 pending", settings, 1'000);
  for (const std::size_t settings : documentSizes) addReply(settings);
  ::benchmark::Initialize(&argc, argv);
  ::benchmark::RunSpecifiedBenchmarks();
  ::benchmark::Shutdown();
  return 0;
}
