#include "document/patch.h"

#include <algorithm>
#include <utility>

#include "document/merge.h"
#include "value/limits.h"
#include "value/value_size.h"

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

Map applyPatch(const Map& tree, const Map& patch) {
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
        changed.setShared(section.sharedKey(), mergeValues(*value.map(), *node.map()));
        ++change;
        continue;
      }
    }
    changed.setShared(section.sharedKey(), node);
  }
  return changed.build();
}

}  // namespace qlczephra::document
