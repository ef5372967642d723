#include "benchmarks/support/effective_tree.h"

#include <variant>

#include "benchmarks/support/require.h"
#include "document/settings_document.h"

namespace qlczephra::bench {

Map effectiveTreeOf(std::string_view document) {
  const auto interpreted = document::SettingsDocument::interpret(document);
  const auto* settings = std::get_if<document::SettingsDocument>(&interpreted);
  require(settings != nullptr, "the text is no settings document");
  return settings->effectiveTree({});
}

}  // namespace qlczephra::bench
