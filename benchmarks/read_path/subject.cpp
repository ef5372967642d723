#include "benchmarks/read_path/subject.h"

#include "benchmarks/support/documents.h"
#include "benchmarks/support/effective_tree.h"
#include "benchmarks/support/require.h"
#include "document/tree_walk.h"
#include "platform/json/json.h"

namespace qlczephra::bench {

namespace {

constexpr std::size_t pathCount = 100;

struct NoToken : QLCZephraAuthenticationDelegate {
  void getCCRCredentials(CredentialsCallback) override {}
};

struct NoURL : QLCServicesURLsProviderProtocol {
  void getURLForService(std::uint64_t, URLCallback) override {}
  void respondToChallenge(const ServerTrust&, ChallengeCallback) override {}
};

std::string textOf(const Map& plain) {
  const auto text = json::write(plain);
  require(text.has_value(), "the settings are no JSON");
  return *text;
}

}  // namespace

Peers::Peers(const Map& plain, const std::vector<std::string>& paths)
    : nlohmann(textOf(plain)), rapidJson(textOf(plain)), propertyTree(textOf(plain)), chased(plain) {
  for (const std::string& path : paths) routes.push_back(chased.routeTo(path));
  for (auto& root : roots) root = std::make_shared<NestedNode>(nestedNodeOf(plain));
  nestedMaps.replace(roots[0]);
}

Subject::Subject(std::size_t settings, bool withPeers) {
  const Document document = documentOf(settings);
  paths = pathsToRead(document, pathCount);
  for (const std::string& path : paths) {
    prepared.emplace_back(path);
    pointers.push_back(jsonPointerOf(path));
    parsedPointers.emplace_back(pointers.back());
  }
  for (Map& tree : trees) tree = effectiveTreeOf(document.text);
  manager = std::make_unique<QLCZephraManager>(std::make_shared<QLCAppInfo>("p", "benchmark/1"),
                                               std::make_shared<NoURL>(), std::make_shared<NoToken>());
  manager->setCurrentSettings(trees[0]);
  if (withPeers) peers.emplace(document::flattened(trees[0]), paths);
  check();
}

void Subject::check() const {
  std::size_t present = 0;
  for (std::size_t i = 0; i < pathCount; ++i) {
    const std::optional<bool> value = manager->getBoolValue(paths[i]);
    if (value) ++present;
    require(manager->getBoolValue(prepared[i]) == value, "a prepared path reads something else: " + paths[i]);
    if (!peers) continue;
    const bool same = peers->nlohmann.boolean(parsedPointers[i]) == value &&
                      peers->rapidJson.boolean(pointers[i]) == value &&
                      peers->propertyTree.boolean(paths[i]) == value && peers->nestedMaps.boolean(paths[i]) == value &&
                      (!value || peers->chased.valueAt(peers->routes[i]) == *value);
    require(same, "the peers read something else: " + paths[i]);
  }
  require(present == pathCount * 3 / 4, "three of four paths should be there");
}

}  // namespace qlczephra::bench
