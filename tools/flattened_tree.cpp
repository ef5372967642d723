#include "tools/flattened_tree.h"

#include "document/tree_walk.h"

namespace qlczephra::tools {

Map flattenedTree(const Map& tree) {
  Map::Builder sections;
  for (const auto [section, node] : tree) {
    const Value* value = document::valueAt(tree, section);
    const Map* children = value == nullptr ? nullptr : value->map();
    sections.set(section, children == nullptr ? Map() : document::flattened(*children));
  }
  return sections.build();
}

}  // namespace qlczephra::tools
