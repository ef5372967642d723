// From the text of a settings document to the state that reads see.
#include <benchmark/benchmark.h>

#include <map>
#include <string>

#include "benchmarks/interpret/careful_nlohmann.h"
#include "benchmarks/interpret/ours.h"
#include "benchmarks/interpret/parsers.h"
#include "benchmarks/support/documents.h"
#include "benchmarks/support/require.h"
#include "platform/json/json.h"

namespace qlczephra::bench {

namespace {

struct Reply {
  std::string text;
  simdjson::padded_string padded;
};

Reply made(std::size_t settings) {
  Reply reply;
  reply.text = documentOf(settings).text;
  reply.padded = simdjson::padded_string(reply.text);
  Interpreter interpreter;
  require(interpreter.run(reply.text), "the library refuses the document");
  const std::string tree = json::write(Value(interpreter.published().value())).value();
  require(nlohmann::json::parse(tree) == effectiveTreeWithNlohmann(reply.text),
          "the library and nlohmann::json make different trees of the document");
  return reply;
}

// Made and checked when first asked for.
const Reply& replyWith(std::size_t settings) {
  static std::map<std::size_t, Reply> all;
  const auto found = all.find(settings);
  return found != all.end() ? found->second : all.emplace(settings, made(settings)).first->second;
}

// `Work` makes what is kept from one round to the next; calling it does a round.
template <typename Work>
void add(const std::string& who, std::size_t settings) {
  ::benchmark::RegisterBenchmark(
      ("interpret/" + who + "/" + std::to_string(settings)).c_str(), [settings](::benchmark::State& state) {
        const Reply& reply = replyWith(settings);
        Work work;
        for (auto _ : state) ::benchmark::DoNotOptimize(work(reply));
        state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(reply.text.size()));
      });
}

struct Ours {
  bool operator()(const Reply& reply) { return interpreter.run(reply.text); }
  Interpreter interpreter;
};

struct Walk {
  std::uint64_t operator()(const Reply& reply) { return walk.over(reply.padded); }
  OndemandWalk walk;
};

struct RapidJson {
  std::uint64_t operator()(const Reply& reply) { return parseWithRapidJson(reply.text); }
};

struct BoostJson {
  std::uint64_t operator()(const Reply& reply) { return parseWithBoostJson(reply.text); }
};

struct Nlohmann {
  std::size_t operator()(const Reply& reply) {
    state = effectiveTreeWithNlohmann(reply.text);
    return state.size();
  }
  nlohmann::json state;
};

}  // namespace

}  // namespace qlczephra::bench

int main(int argc, char** argv) {
  using namespace qlczephra::bench;
  for (const std::size_t settings : documentSizes) {
    add<Ours>("ours", settings);
    add<Walk>("simdjson ondemand walk", settings);
    add<RapidJson>("RapidJSON DOM parse", settings);
    add<BoostJson>("Boost.JSON parse", settings);
    add<Nlohmann>("nlohmann, careful", settings);
  }
  for (const std::size_t settings : {1'000U, 20'000U}) add<Ours>("ours", settings);
  ::benchmark::Initialize(&argc, argv);
  ::benchmark::RunSpecifiedBenchmarks();
  ::benchmark::Shutdown();
  return 0;
}
