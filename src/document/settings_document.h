// From the service's settings document to the effective settings tree. Pure: the caller reads the files of pending
// changes and passes their content in.
//
// A document is {"data": {"eff_schema": {section: schema}, "values": {section: values}}}; all other keys are ignored.
// Nothing here fails loudly: a piece that is missing or of another kind than expected counts as absent.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>

#include "qlczephra/value.h"

namespace qlczephra::document {

// Why a text gives no settings.
struct NoSettings {
  bool isObject = false;      // a JSON object, which lacks what a settings document has
  std::string reason;         // for people, in lower case, without the text's content
  bool exceedsLimit = false;  // a text that one of the limits refused
};

// The nodes that the schema of a document gives, with its default values and the service's values laid over them.
// Making it needs no pending changes and therefore no lock.
class SettingsDocument {
 public:
  // Reads a document's text, JSON as json::read() takes it. None when it has no schema for "common" or none for
  // "macos"; "windows" may be missing.
  [[nodiscard]] static std::variant<SettingsDocument, NoSettings> interpret(std::string_view text);

  // The effective settings tree: for each section the layers of local changes, lowest first, laid over what the service
  // says.
  [[nodiscard]] Map effectiveTree(std::initializer_list<const Map*> changes) const;

 private:
  explicit SettingsDocument(Map tree) : tree_(std::move(tree)) {}
  Map tree_;  // root section to setting node
};

}  // namespace qlczephra::document
