#include "document/settings_document.h"

#include <cstddef>
#include <optional>
#include <utility>

#include "document/document_reader.h"
#include "document/merge.h"
#include "document/setting_node.h"
#include "document/settings_tree_builder.h"
#include "platform/json/structural_index.h"

namespace qlczephra::document {

std::variant<SettingsDocument, NoSettings> SettingsDocument::interpret(std::string_view text) {
  DocumentContent content;
  {
    const json::StructuralIndex index(text);
    if (index.error() != nullptr) return NoSettings{false, index.error()};
    DocumentReader reader(text, index);
    if (!reader.read(content)) {
      const json::TokenReader& tokens = reader.tokens();
      return NoSettings{false, tokens.error(), tokens.exceedsLimit()};
    }
  }
  Map::Builder tree;
  for (std::size_t i = 0; i < sectionNames.size(); ++i) {
    const auto& [name, isRequired] = sectionNames[i];
    if (const auto& section = content.sections[i]) {
      tree.set(name, buildSettingsTree(content.schema, *section, section->isOfferedIn(content.visit)));
    } else if (isRequired) {
      return NoSettings{true, "no schema for \"" + std::string(name) + '"'};
    }
  }
  return SettingsDocument(tree.build());
}

Map SettingsDocument::effectiveTree(std::initializer_list<const Map*> changes) const {
  Map::Builder tree;
  for (auto section = tree_.begin(); section != tree_.end(); ++section) {
    const auto [name, node] = *section;
    Map effective = *node.map();
    for (const Map* layer : changes) {
      if (const Map* values = mapUnder(*layer, name)) effective = mergeValues(*values, effective);
    }
    tree.setShared(section.sharedKey(), std::move(effective));
  }
  return tree.build();
}

}  // namespace qlczephra::document
