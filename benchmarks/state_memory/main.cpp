// The heap that published settings take, against the same tree in a JSON library.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "benchmarks/state_memory/heap.h"
#include "benchmarks/support/documents.h"
#include "benchmarks/support/effective_tree.h"
#include "benchmarks/support/require.h"
#include "document/tree_walk.h"
#include "platform/json/json.h"

namespace qlczephra::bench {

namespace {

// What stays of the heap for as long as the result of `make` lives.
template <typename Make>
std::size_t heapOf(Make make) {
  { const auto warm = make(); }  // what is kept for good is there from now on
  const std::size_t before = heapOfThread();
  const auto made = make();
  return heapOfThread() - before;
}

std::string textOf(const Map& map) {
  const auto text = json::write(map);
  require(text.has_value(), "the settings are no JSON");
  return *text;
}

// A copy has no room to grow left, which the parser leaves in lists.
nlohmann::json tightTreeOf(const std::string& text) {
  const nlohmann::json parsed = nlohmann::json::parse(text);
  return nlohmann::json(parsed);
}

void add(const std::string& who, std::size_t settings, std::size_t bytes) {
  ::benchmark::RegisterBenchmark(("memory/" + who + "/" + std::to_string(settings)).c_str(),
                                 [bytes](::benchmark::State& state) {
                                   for (auto _ : state) ::benchmark::DoNotOptimize(bytes);
                                   state.counters["value"] = static_cast<double>(bytes);
                                 })
      ->Iterations(1);
}

void addSize(std::size_t settings, bool withPeers) {
  const Document document = documentOf(settings);
  const Map tree = effectiveTreeOf(document.text);
  add("ours", settings, heapOf([&] { return effectiveTreeOf(document.text); }));
  if (!withPeers) return;
  const std::string text = textOf(tree);
  require(nlohmann::json::parse(text).dump() == text, "the peer holds something else");
  add("nlohmann json", settings, heapOf([&] { return tightTreeOf(text); }));
  // Without what tells of each setting whether it may be changed.
  const std::string values = textOf(document::flattened(tree));
  add("nlohmann json, values alone", settings, heapOf([&] { return tightTreeOf(values); }));
}

}  // namespace

}  // namespace qlczephra::bench

int main(int argc, char** argv) {
  using namespace qlczephra::bench;
  for (const std::size_t settings : documentSizes) addSize(settings, true);
  for (const std::size_t settings : {1'000U, 20'000U}) addSize(settings, false);
  ::benchmark::Initialize(&argc, argv);
  ::benchmark::RunSpecifiedBenchmarks();
  ::benchmark::Shutdown();
  return 0;
}
