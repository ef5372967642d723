#include "benchmarks/interpret/ours.h"

#include <variant>

#include "document/settings_document.h"

namespace qlczephra::bench {

bool Interpreter::run(std::string_view document) {
  const auto interpreted = document::SettingsDocument::interpret(document);
  const auto* settings = std::get_if<document::SettingsDocument>(&interpreted);
  if (settings == nullptr) return false;
  const Map noChanges;  // confirmed, being sent, waiting
  state_.publish(settings->effectiveTree({&noChanges, &noChanges, &noChanges}));
  return true;
}

}  // namespace qlczephra::bench
