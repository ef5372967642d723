// What a change and a fetched document cost until they are stored, against the bare files that they need.
#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <tuple>

#include "benchmarks/accepted_write/pending_world.h"
#include "benchmarks/accepted_write/reply_world.h"
#include "benchmarks/support/documents.h"

namespace qlczephra::bench {

namespace {

// The one made of these arguments, when first asked for. All go before the threads of the library do.
template <typename World, typename... Arguments>
class Worlds {
 public:
  World& of(Arguments... arguments) {
    return worlds_.try_emplace(std::tuple(arguments...), arguments...).first->second;
  }

 private:
  std::map<std::tuple<Arguments...>, World> worlds_;
};

using PendingWorlds = Worlds<PendingWorld, int, int>;
using ReplyWorlds = Worlds<ReplyWorld, std::size_t>;

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

void addReply(ReplyWorlds& worlds, std::size_t settings) {
  const std::string size = "/" + std::to_string(settings);
  ::benchmark::RegisterBenchmark(("apply 200/ours" + size).c_str(), [&worlds, settings](::benchmark::State& state) {
    ReplyWorld& world = worlds.of(settings);
    for (auto _ : state) state.SetIterationTime(world.applyReply().count());
  })->UseManualTime();
  ::benchmark::RegisterBenchmark(("apply 200/bare write, flush, rename" + size).c_str(),
                                 [&worlds, settings](::benchmark::State& state) {
                                   const ReplyWorld& world = worlds.of(settings);
                                   for (auto _ : state) world.replaceFile();
                                 })
      ->UseRealTime();
}

}  // namespace

}  // namespace qlczephra::bench

int main(int argc, char** argv) {
  using namespace qlczephra::bench;
  qlczephra::setLogSink([](const qlczephra::LogLine&) {});
  PendingWorlds pending;
  ReplyWorlds replies;
  for (const int settings : {50, 5'000}) addChange(pending, "accepted write", settings, 1);
  for (const int settings : {1'000, 5'000}) addChange(pending, "accepted write, 1000 pending", settings, 1'000);
  for (const std::size_t settings : documentSizes) addReply(replies, settings);
  ::benchmark::Initialize(&argc, argv);
  ::benchmark::RunSpecifiedBenchmarks();
  ::benchmark::Shutdown();
  return 0;
}
