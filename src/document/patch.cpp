#include "document/patch.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "document/merge.h"
#include "document/setting_node.h"
#include "value/limits.h"

namespace qlczephra::document {

const char* whyTooLarge(std::string_view path, const Value& value) {
  const auto names = static_cast<std::size_t>(std::count(path.begin(), path.end(), '.')) + 1;
  if (names + value.nesting() > limits::changeNesting) return "nested too deep";
  const ValueSize extent = valueSizeOf(value);
  std::size_t longestKey = extent.longestKey;
  for (std::size_t begin = 0; begin <= path.size();) {
    const std::size_t end = std::min(path.find('.', begin), path.size());
    longestKey = std::max(longestKey, end - begin);
    begin = end + 1;
  }
  if (longestKey > limits::keyLength) return "a name is too long";
  if (extent.longestString > limits::stringLength) return "a string is too long";
  return nullptr;
}

Map makePatch(std::string_view path, const Value& value) {
  // From the last name outwards.
  Map patch;
  Value inner = value;
  for (;;) {
    const std::size_t dot = path.rfind('.');
    const std::string_view name = dot == std::string_view::npos ? path : path.substr(dot + 1);
    patch = Map().with(name, std::move(inner));
    if (dot == std::string_view::npos) return patch;
    inner = std::move(patch);
    path = path.substr(0, dot);
  }
}

namespace {

struct Walked {
  Map tree;
  bool toTheEnd;  // no section of the tree was left out
};

// Gives each section of `tree` that `patch` reaches the node that `layOver` makes of its name, the patch's values and
// the present node.
template <typename LayOver>
Walked walkSections(const Map& tree, const Map& patch, LayOver layOver) {
  Map::Builder changed;
  changed.reserve(tree.size());
  // Both are in key order. Nothing is taken from the first section on that the tree does not know or that is no map.
  auto change = patch.begin();
  bool goesOn = true;
  for (auto section = tree.begin(); section != tree.end(); ++section) {
    const auto [name, node] = *section;
    if (goesOn && change != patch.end()) {
      const auto [changedName, value] = *change;
      const int order = changedName.compare(name);
      goesOn = order > 0 || (order == 0 && value.map() != nullptr && node.map() != nullptr);
      if (goesOn && order == 0) {
        changed.setShared(section.sharedKey(), layOver(name, *value.map(), *node.map()));
        ++change;
        continue;
      }
    }
    changed.setShared(section.sharedKey(), node);
  }
  return {changed.build(), goesOn};
}

Walked applyAll(const Map& tree, const Map& patch) {
  return walkSections(tree, patch,
                      [](std::string_view, const Map& values, const Map& node) { return mergeValues(values, node); });
}

// Whether a map with "v" stands anywhere in `patch` but in its lists, which are taken as a whole.
bool hasNodeLike(const Map& patch) {
  std::vector<const Map*> toSearch{&patch};
  while (!toSearch.empty()) {
    const Map& map = *toSearch.back();
    toSearch.pop_back();
    for (const auto [name, value] : map) {
      if (name == valueKey) return true;
      if (value.map() != nullptr) toSearch.push_back(value.map());
    }
  }
  return false;
}

}  // namespace

Map applyPatch(const Map& tree, const Map& patch) {
  return applyAll(tree, patch).tree;
}

PatchedTree layPatch(const Map& tree, const Map& patch) {
  Walked walked = applyAll(tree, patch);
  return {std::move(walked.tree), walked.toTheEnd && !hasNodeLike(patch)};
}

PatchedTree layChange(const Map& tree, const Map& patch, const Map& change) {
  Walked walked = walkSections(tree, patch, [&](std::string_view section, const Map&, const Map& node) {
    const Map* values = mapUnder(change, section);
    return values == nullptr ? node : mergeValues(*values, node);
  });
  return {std::move(walked.tree), walked.toTheEnd && !hasNodeLike(change)};
}

TotalSize sizeOfMerged(TotalSize bulkOfBase, const Map& base, const Map& other) {
  TotalSize size = bulkOfBase;
  struct Pair {
    const Map* base;
    const Map* other;
  };
  std::vector<Pair> toMerge{{&base, &other}};
  while (!toMerge.empty()) {
    const Pair pair = toMerge.back();
    toMerge.pop_back();
    for (const auto [key, value] : *pair.other) {
      const Value* present = pair.base->find(key);
      if (present != nullptr && present->map() != nullptr && value.map() != nullptr) {
        toMerge.push_back({present->map(), value.map()});
        continue;
      }
      if (present == nullptr) {
        size += {1, key.size()};
      } else {
        size -= valueSizeOf(*present);
      }
      size += valueSizeOf(value);
    }
  }
  return size;
}

}  // namespace qlczephra::document
