// Writing and reading the settings that a manager stores.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstring>
#include <string>

#include "benchmarks/plist/expat_reader.h"
#include "benchmarks/plist/stored_settings.h"
#include "benchmarks/support/documents.h"
#include "platform/plist/plist.h"

namespace qlczephra::bench {

namespace {

// What is measured of one size; each is a function of its stored settings that gives something to look at.
template <typename Work>
void add(const std::string& name, std::size_t settings, Work work) {
  ::benchmark::RegisterBenchmark(
      (name + "/" + std::to_string(settings)).c_str(), [settings, work](::benchmark::State& state) {
        const StoredSettings& stored = storedSettings(settings);
        for (auto _ : state) ::benchmark::DoNotOptimize(work(stored));
        state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(stored.text.size()));
      });
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
  add("plist write/ours", settings,
      [](const StoredSettings& stored) { return plist::write(stored.tree, stored.text.size()); });
  add("plist read/ours", settings, [](const StoredSettings& stored) { return plist::read(stored.text); });
}

void addOthers(std::size_t settings) {
  // The least that a function costs which gives this text: a string of its own with these bytes.
  add("plist write/memcpy of the output", settings, [](const StoredSettings& stored) { return stored.text; });
  add("plist write/libplist", settings,
      [](const StoredSettings& stored) { return writeWithLibplist(stored.node.get()); });
  add("plist write/pugixml", settings,
      [](const StoredSettings& stored) { return writeWithPugixml(stored.document, stored.text.size()); });

  add("plist read/scan for <", settings, [](const StoredSettings& stored) { return countTags(stored.text); });
  add("plist read/expat", settings, [](const StoredSettings& stored) {
    static ExpatReader reader;
    return reader.read(stored.text);
  });
  add("plist read/libplist", settings, [](const StoredSettings& stored) { return readWithLibplist(stored.text); });
  add("plist read/pugixml", settings, [](const StoredSettings& stored) {
    pugi::xml_document document;
    readWithPugixml(stored.text, document);
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
