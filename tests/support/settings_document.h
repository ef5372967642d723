// Settings documents in tests, given as maps.
#pragma once

#include <optional>
#include <stdexcept>
#include <variant>

#include "document/settings_document.h"
#include "platform/json/json.h"
#include "qlczephra/value.h"

namespace qlczephra::test {

// What the library makes of a document's text; none when it is no settings document.
inline std::optional<document::SettingsDocument> interpreted(std::string_view text) {
  auto read = document::SettingsDocument::interpret(text);
  auto* const document = std::get_if<document::SettingsDocument>(&read);
  return document == nullptr ? std::nullopt : std::optional(std::move(*document));
}
inline std::optional<document::SettingsDocument> interpreted(const Map& document) {
  const auto text = json::write(document);
  if (!text) throw std::invalid_argument("a test's document holds what JSON cannot");
  return interpreted(*text);
}

}  // namespace qlczephra::test
