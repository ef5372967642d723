// A document of one size, held by a manager and by its peers.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "benchmarks/read_path/chased_tree.h"
#include "benchmarks/read_path/libraries.h"
#include "benchmarks/read_path/nested_maps.h"
#include "qlczephra/manager.h"

namespace qlczephra::bench {

// What only some sizes are measured with.
struct Peers {
  Peers(const Map& plain, const std::vector<std::string>& paths);

  NlohmannTree nlohmann;
  RapidJsonTree rapidJson;
  PropertyTree propertyTree;
  ChasedTree chased;
  std::vector<ChasedTree::Route> routes;  // to the subject's paths
  std::array<std::shared_ptr<const NestedNode>, 2> roots;
  NestedMaps nestedMaps;
};

struct Subject {
  Subject(std::size_t settings, bool withPeers);
  // Ends the program unless all give the same for each path.
  void check() const;

  std::vector<std::string> paths;
  std::vector<SettingPath> prepared;
  std::vector<std::string> pointers;
  std::vector<nlohmann::json::json_pointer> parsedPointers;
  std::array<Map, 2> trees;  // equal, and nothing shared between them
  std::unique_ptr<QLCZephraManager> manager;
  std::optional<Peers> peers;
};

}  // namespace qlczephra::bench
