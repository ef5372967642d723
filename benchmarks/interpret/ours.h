// What the library does with a reply that holds a settings document, but for its files.
#pragma once

#include <optional>
#include <string_view>

#include "platform/platform.h"
#include "qlczephra/value.h"
#include "state/published_state.h"

namespace qlczephra::bench {

class Interpreter {
 public:
  // From the text of a document to the state that reads see; the state that it replaces is freed. False when the text
  // is no document.
  [[nodiscard]] bool run(std::string_view document);

  [[nodiscard]] std::optional<Map> published() const { return state_.tree(); }

 private:
  PublishedState state_{platform::nativePlatform()};
};

}  // namespace qlczephra::bench
