#include "benchmarks/interpret/ours.h"

#include <variant>

#include "document/settings_document.h"
#include "platform/hazard.h"
#include "platform/json/json.h"

namespace qlczephra::bench {

bool Interpreter::run(std::string_view document) {
  {
    const auto read = json::read(document);
    const auto* value = std::get_if<Value>(&read);
    if (value == nullptr || value->map() == nullptr) return false;
    const auto interpreted = document::SettingsDocument::interpret(*value->map());
    if (!interpreted) return false;
    const Map noChanges;  // confirmed, being sent, waiting
    state_.publish(interpreted->effectiveTree({&noChanges, &noChanges, &noChanges}));
  }
  platform::reclaimRetired();
  return true;
}

}  // namespace qlczephra::bench
