// Small fixed workloads whose instructions are counted: times are too noisy to compare from one run to the next.
//
// usage: instruction_workloads NAME      runs one of the workloads; without a name lists them
//
// Only what happens inside counted() counts, so that preparing a workload costs nothing.
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "benchmarks/support/documents.h"
#include "benchmarks/support/effective_tree.h"
#include "benchmarks/support/require.h"
#include "document/merge.h"
#include "document/patch.h"
#include "platform/plist/plist.h"
#include "qlczephra/qlczephra.h"
#include "value/limits.h"
#include "value/value_size.h"

// What is counted is found by this name, which no compiler may change.
extern "C" [[gnu::noinline]] void counted(const std::function<void()>& work) {
  work();
}

namespace qlczephra::bench {
namespace {

constexpr std::size_t settings = 5'000;

const Document& sample() {
  static const Document document = documentOf(settings);
  return document;
}

struct NoDelegate : QLCZephraAuthenticationDelegate {
  void getCCRCredentials(CredentialsCallback) override {}
};

struct NoURL : QLCServicesURLsProviderProtocol {
  void getURLForService(std::uint64_t, URLCallback) override {}
  void respondToChallenge(const ServerTrust&, ChallengeCallback) override {}
};

// `Path` is the text of a path or a prepared one.
template <typename Path>
void readPaths() {
  const auto delegate = std::make_shared<NoDelegate>();
  QLCZephraManager manager(std::make_shared<QLCAppInfo>("p", "instructions/1"), std::make_shared<NoURL>(), delegate);
  manager.setCurrentSettings(effectiveTreeOf(sample().text));
  std::vector<Path> paths;
  for (const std::string& path : pathsToRead(sample(), 256)) paths.emplace_back(path);
  std::size_t found = 0;
  const auto readAll = [&] {
    for (const Path& path : paths) found += std::size_t{manager.getBoolValue(path).has_value()};
  };
  readAll();
  readAll();
  found = 0;
  counted([&] {
    for (int round = 0; round < 40; ++round) readAll();
  });
  require(found == 40 * paths.size() * 3 / 4, "reads give something else");
}

void interpret() {
  const std::string& text = sample().text;
  std::size_t sections = 0;
  counted([&] { sections = effectiveTreeOf(text).size(); });
  require(sections == 3, "a section is missing");
}

void writePropertyList() {
  const Map tree = effectiveTreeOf(sample().text);
  // Known beforehand, as it is of a file that is replaced: a string that grows is copied or not, as memory happens to
  // be.
  const std::size_t expected = plist::write(tree).value_or("").size();
  std::optional<std::string> text;
  counted([&] { text = plist::write(tree, expected); });
  require(text && text->size() > 500'000, "the property list is too short");
}

void readPropertyList() {
  const Map tree = effectiveTreeOf(sample().text);
  const std::string text = plist::write(tree).value_or("");
  bool same = false;
  std::variant<Value, plist::ReadError> read;
  counted([&] { read = plist::read(text); });
  if (const Value* value = std::get_if<Value>(&read)) same = *value == Value(tree);
  require(same, "the property list reads back as something else");
}

void change(std::size_t pending) {
  const Map tree = effectiveTreeOf(sample().text);
  Map patch;
  for (std::size_t i = 0; i < pending; ++i) {
    patch = document::deepMerging(patch, document::makePatch(sample().integers[i], Value(1'000'000 + i)));
  }
  Map changed = document::applyPatch(tree, patch);
  const Map before = changed;
  const auto changeTo = [&](int value) {
    const Map change = document::makePatch(sample().integers.front(), Value(value));
    patch = document::deepMerging(patch, change);
    require(valueSizeOf(patch).values <= limits::pendingValues, "too many are pending");
    changed = document::applyPatch(changed, patch);
  };
  changeTo(-1);  // puts the allocator's lists in order, which are long after the document was freed
  counted([&] {
    for (int round = 0; round < 10; ++round) changeTo(round);
  });
  require(!(changed == before), "the change did not arrive");
}

struct Workload {
  const char* name;
  void (*run)();
};

constexpr Workload workloads[] = {
    {"read-by-text", readPaths<std::string>},
    {"read-prepared", readPaths<SettingPath>},
    {"interpret", interpret},
    {"plist-write", writePropertyList},
    {"plist-read", readPropertyList},
    {"change-1-pending", [] { change(1); }},
    {"change-1000-pending", [] { change(1'000); }},
};

}  // namespace
}  // namespace qlczephra::bench

int main(int argc, char** argv) {
  for (const auto& workload : qlczephra::bench::workloads) {
    if (argc < 2) {
      std::puts(workload.name);
    } else if (std::string_view(argv[1]) == workload.name) {
      workload.run();
      return 0;
    }
  }
  return argc < 2 ? 0 : 2;
}
