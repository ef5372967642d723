// A document and up to three layers of changes give a tree that can be read at every path, flattened, shown as policy
// records, and stored where the format allows. The input: document, layer, layer, layer.
#include <optional>

#include "document/patch.h"
#include "document/setting_node.h"
#include "document/settings_document.h"
#include "document/tree_walk.h"
#include "fuzz/pieces.h"
#include "fuzz/require.h"
#include "fuzz/storing.h"
#include "policy/views.h"

namespace qlczephra::fuzz {
namespace {

// Every node is found under its path and says whether it is read-only, and stands flattened where it belongs. A name
// with a dot cannot be asked for.
void requireReadable(const Map& tree, const Map& children, const Map& flat, const std::string& around, bool readonly) {
  require(children.size() == flat.size());
  for (const auto& [name, node] : children) {
    const Value* plain = flat.find(name);
    require(plain != nullptr);
    const Map* fields = node.map();
    const Value* value = fields == nullptr ? nullptr : fields->find(document::valueKey);
    if (value == nullptr) {
      require(*plain == node);
    } else if (value->map() == nullptr) {
      require(*plain == *value);
    } else {
      require(plain->map() != nullptr);
    }
    if (name.find('.') != name.npos) continue;
    const std::string path = around + std::string(name);
    require(document::valueAt(tree, path) == value);
    if (fields == nullptr) {
      // What is no node is not looked for behind a read-only group.
      require(document::isReadonlyAt(tree, path) == (readonly ? std::optional(true) : std::nullopt));
      continue;
    }
    const bool isLocked = readonly || document::isTrueUnder(*fields, document::readonlyKey);
    require(document::isReadonlyAt(tree, path) == isLocked);
    if (value != nullptr && value->map() != nullptr) {
      requireReadable(tree, *value->map(), *plain->map(), path + ".", isLocked);
    }
  }
}

template <typename Record>
void requireDescribed(const Record& record) {
  require(record.description().starts_with("<"));
}
template <typename Record>
void requireDescribed(const std::optional<Record>& record) {
  if (record) requireDescribed(*record);
}

// Every view gives a record or none.
void requireShown(const Map& tree) {
  const policy::Settings settings(&tree);
  requireDescribed(policy::timeLimits(settings));
  requireDescribed(policy::curfew(settings));
  requireDescribed(policy::quota(settings));
  requireDescribed(policy::browsingProtection(settings));
  requireDescribed(policy::contentCategories(settings));
  requireDescribed(policy::schedule(settings));
  requireDescribed(policy::pmProxySettings(settings));
  requireDescribed(policy::firewall(settings));
  requireDescribed(policy::vort2ProxySettings(settings));
}

// The sections of `layer` that can be laid over the tree.
Map knownSections(const Map& layer, const Map& tree) {
  Map::Builder known;
  for (const auto& [section, values] : layer) {
    if (values.map() != nullptr && tree.find(section) != nullptr) known.set(section, values);
  }
  return known.build();
}

}  // namespace
}  // namespace qlczephra::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace qlczephra;
  fuzz::Pieces pieces(data, size);
  const std::string_view text = pieces.next();
  const auto interpreted = document::SettingsDocument::interpret(text);
  const auto* document = std::get_if<document::SettingsDocument>(&interpreted);
  // What is no settings document may be another object, if it is JSON at all.
  fuzz::require((document != nullptr || std::get<document::NoSettings>(interpreted).isObject) ==
                fuzz::mapIn(text).has_value());
  if (document == nullptr) return 0;
  const Map first = fuzz::mapIn(pieces.next()).value_or(Map());
  const Map second = fuzz::mapIn(pieces.next()).value_or(Map());
  const Map third = fuzz::mapIn(pieces.next()).value_or(Map());

  const Map tree = document->effectiveTree({&first, &second, &third});
  fuzz::requireReadable(tree, tree, document::flattened(tree), "", false);
  fuzz::requireShown(tree);
  fuzz::requireStored(tree);
  // A layer more is a patch applied to the tree without it.
  const Map without = document->effectiveTree({&first, &second});
  fuzz::require(document::applyPatch(without, fuzz::knownSections(third, without)) == tree);
  return 0;
}
