// Changes by dotted path: what is writable reads back, what is not stays, and nothing beside it changes; and one after
// the other they give what all that are pending give at once. The input: a document, or a tree as it stands; then paths
// and values in turn.
#include <algorithm>

#include "document/merge.h"
#include "document/patch.h"
#include "document/setting_node.h"
#include "document/settings_document.h"
#include "document/tree_walk.h"
#include "fuzz/pieces.h"
#include "fuzz/require.h"
#include "value/limits.h"
#include "value/path.h"

namespace qlczephra::fuzz {
namespace {

// What stands in a patch map at a path.
const Value* rawAt(const Map& patch, std::string_view path) {
  const Map* map = &patch;
  for (PathNames names(path);; names.advance()) {
    const Value* value = map == nullptr ? nullptr : map->find(names.name());
    if (value == nullptr || names.isLast()) return value;
    map = value->map();
  }
}

// Where a change of a path ends: at a dynamic group, which takes all names as they come; at a value that is no group;
// or at the path's own end.
struct Destination {
  std::string_view path;         // the beginning of the one that was asked for
  const Value* value = nullptr;  // null: the tree does not know the path
  bool isDynamicGroup = false;
};

Destination destinationOf(const Map& tree, std::string_view path) {
  const Map* children = &tree;
  for (PathNames names(path);; names.advance()) {
    const Map* node = document::mapUnder(*children, names.name());
    const Value* value = node == nullptr ? nullptr : node->find(document::valueKey);
    if (value == nullptr) return {};
    const auto length = static_cast<std::size_t>(names.name().data() + names.name().size() - path.data());
    children = value->map();
    if (names.isLast() || children == nullptr) return {path.substr(0, length), value};
    if (document::isTrueUnder(*node, document::dynamicKey)) return {path.substr(0, length), value, true};
  }
}

// What a leaf that holds `present` holds after it was offered `value`.
Value accepted(const Value& present, const Value& value) {
  switch (present.kind()) {
    case Value::Kind::boolean:
      if (value.boolean()) return value;
      return value.wholeNumber() == 0 || value.wholeNumber() == 1 ? Value(value.wholeNumber() == 1) : present;
    case Value::Kind::integer:
    case Value::Kind::string:
    case Value::Kind::list:
      return value;
    case Value::Kind::real:
      return present.wholeNumber() ? value : present;
    default:
      return present;
  }
}

// Groups that were offered something lose their flags, so only what they hold is compared.
void requireSameValues(const Map& before, const Map& after) {
  require(document::flattened(before) == document::flattened(after));
}

void requireApplied(const Map& before, const Map& after, std::string_view path, const Value& value) {
  const std::string_view section = PathNames(path).name();
  require(after.size() == before.size());
  for (const auto& [name, node] : before) {
    if (name != section) require(*after.find(name) == node);
  }

  const auto [end, present, isDynamicGroup] = destinationOf(before, path);
  const bool isSection = end == section;
  const bool takesNothing = present == nullptr || (isSection && present->map() == nullptr) ||
                            (document::isReadonlyAt(before, end) == true && !(isSection && isDynamicGroup));
  if (takesNothing && end == path && isSection) return;  // a dynamic section takes maps whether it is read-only or not
  if (takesNothing) {
    requireSameValues(before, after);
  } else if (isDynamicGroup) {
    const std::string_view name = PathNames(path.substr(end.size() + 1)).name();
    const Value* group = document::valueAt(after, end);
    require(group != nullptr && group->map() != nullptr && group->map()->find(name) != nullptr);
    const Map patch = document::makePatch(path, value);
    require(*group->map()->find(name) == *rawAt(patch, path.substr(0, end.size() + 1 + name.size())));
  } else if (present->map() == nullptr) {
    const Map patch = document::makePatch(path, value);
    require(*document::valueAt(after, end) == accepted(*present, *rawAt(patch, end)));
  } else if (value.map() == nullptr) {
    requireSameValues(before, after);
  }
}

}  // namespace
}  // namespace qlczephra::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace qlczephra;
  fuzz::Pieces pieces(data, size);
  const std::string_view first = pieces.next();
  const auto start = fuzz::mapIn(first);
  if (!start) return 0;
  const auto interpreted = document::SettingsDocument::interpret(first);
  const auto* document = std::get_if<document::SettingsDocument>(&interpreted);
  Map tree = document != nullptr ? document->effectiveTree({}) : *start;
  Map pending;
  for (int changes = 0; changes < 8 && !pieces.atEnd(); ++changes) {
    const std::string_view path = pieces.next();
    const std::string_view text = pieces.next();
    const Value value = fuzz::valueIn(text).value_or(Value(text));
    const std::size_t names = static_cast<std::size_t>(std::count(path.begin(), path.end(), '.')) + 1;
    const char* tooLarge = document::whyTooLarge(path, value);
    fuzz::require(tooLarge != nullptr || names + value.nesting() <= limits::changeNesting);
    if (tooLarge != nullptr) continue;

    const Map patch = document::makePatch(path, value);
    fuzz::require(patch.nesting() == names + value.nesting());
    fuzz::require(*fuzz::rawAt(patch, path) == value);
    pending = document::deepMerging(pending, patch);
    const Value* kept = fuzz::rawAt(pending, path);
    fuzz::require(kept != nullptr && (value.map() != nullptr ? kept->map() != nullptr : *kept == value));

    const Map changed = document::applyPatch(tree, patch);
    fuzz::requireApplied(tree, changed, path, value);
    tree = changed;
  }
  fuzz::require(pending.nesting() <= std::max<std::size_t>(limits::changeNesting, 1));
  return 0;
}
