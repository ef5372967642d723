#include "benchmarks/support/effective_tree.h"

#include <variant>

#include "benchmarks/support/require.h"
#include "document/settings_document.h"
#include "platform/json/json.h"

namespace qlczephra::bench {

Map effectiveTreeOf(std::string_view document) {
  const auto read = json::read(document);
  const auto* value = std::get_if<Value>(&read);
  require(value != nullptr && value->map() != nullptr, "the document is no JSON object");
  const auto interpreted = document::SettingsDocument::interpret(*value->map());
  require(interpreted.has_value(), "the document has no schema");
  return interpreted->effectiveTree({});
}

}  // namespace qlczephra::bench
