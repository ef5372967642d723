// Writing and reading the settings that a manager stores.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>

#include "benchmarks/plist/expat_reader.h"
#include "benchmarks/plist/stored_settings.h"
#include "benchmarks/support/documents.h"
#include "platform/plist/plist.h"

namespace qlczephra::bench {

namespace {

// `prepare` makes of the stored text what `work` is measured with; `work` gives something to look at.
template <typename Prepare, typename Work>
void add(const std::string& name, std::size_t settings, Prepare prepare, Work work) {
  ::benchmark::RegisterBenchmark((name + "/" + std::to_string(settings)).c_str(),
                                 [settings, prepare, work](::benchmark::State& state) {
                                   const std::string& text = storedText(settings);
                                   const auto& prepared = prepare(text);
                                   for (auto _ : state) ::benchmark::DoNotOptimize(work(prepared, text.size()));
                                   state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
                                 });
}

const std::string& asItIs(const std::string& text) {
  return text;
}

// What was read is freed within the measured time.
template <typename Work>
void addReading(const std::string& who, std::size_t settings, Work work) {
  add("plist read/" + who, settings, asItIs, [work](const std::string& text, std::size_t) { return work(text); });
}

std::size_t countTags(const std::string& text) {
  std::size_t count = 0;
  const char* at = text.data();
  const char* const last = at + text.size();
  while ((at = static_cast<const char*>(std::memchr(at, '<', static_cast<std::size_t>(last - at)))) != nullptr) {
    ++count;
    ++at;
  }
  return count;
}

void addOurs(std::size_t settings) {
  // A manager, too, writes with the size of its last file at hand.
  add("plist write/ours", settings, readWithOurs,
      [](const Value& tree, std::size_t size) { return plist::write(tree, size); });
  addReading("ours", settings, [](const std::string& text) { return plist::read(text); });
}

void addOthers(std::size_t settings) {
  // The least that a function costs which gives this text: a string of its own with these bytes.
  add("plist write/memcpy of the output", settings, asItIs,
      [](const std::string& text, std::size_t) { return std::string(text); });
  add("plist write/libplist", settings, readWithLibplist,
      [](const PlistNode& node, std::size_t) { return writeWithLibplist(node.get()); });
  const auto documentOf = [](const std::string& text) {
    auto document = std::make_unique<pugi::xml_document>();
    readWithPugixml(text, *document);
    return document;
  };
  add("plist write/pugixml", settings, documentOf,
      [](const auto& document, std::size_t size) { return writeWithPugixml(*document, size); });

  addReading("scan for <", settings, countTags);
  addReading("expat", settings, [](const std::string& text) {
    static ExpatReader reader;
    return reader.read(text);
  });
  addReading("libplist", settings, readWithLibplist);
  addReading("pugixml", settings, [](const std::string& text) {
    pugi::xml_document document;
    readWithPugixml(text, document);
    return document.first_child().hash_value();
  });
}

}  // namespace

}  // namespace qlczephra::bench

int main(int argc, char** argv) {
  using namespace qlczephra::bench;
  for (const std::size_t settings : documentSizes) {
    addOurs(settings);
    addOthers(settings);
  }
  for (const std::size_t settings : {1'000U, 20'000U}) addOurs(settings);
  ::benchmark::Initialize(&argc, argv);
  ::benchmark::RunSpecifiedBenchmarks();
  ::benchmark::Shutdown();
  return 0;
}
