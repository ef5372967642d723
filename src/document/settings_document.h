// From the service's settings document to the effective settings tree. Pure: the caller reads the files of pending
// changes and passes their content in.
//
// A document is {"data": {"eff_schema": {section: schema}, "values": {section: values}}}; all other keys are ignored.
// Nothing here fails loudly: a piece that is missing or of another kind than expected counts as absent.
#pragma once

#include <initializer_list>
#include <optional>

#include "qlczephra/value.h"

namespace qlczephra::document {

// The nodes that the schema of a document gives, with its default values, and the service's values to lay over them.
// Making it needs no pending changes and therefore no lock.
class SettingsDocument {
 public:
  // None when the document has no schema for "common" or none for "macos"; "windows" may be missing.
  [[nodiscard]] static std::optional<SettingsDocument> interpret(const Map& document);

  // The effective settings tree: for each section the service's values, and then the layers of local changes, lowest
  // first, laid over the schema's defaults.
  [[nodiscard]] Map effectiveTree(std::initializer_list<const Map*> changes) const;

 private:
  SettingsDocument(Map nodes, Map values) : nodes_(std::move(nodes)), values_(std::move(values)) {}
  Map nodes_;   // root section to setting node
  Map values_;  // root section to values
};

// The setting node of a schema object: {"v": children, "ro": ..., "dynamic": true when so}; an empty map without
// "properties".
[[nodiscard]] Map parseObject(const Map& schema);

}  // namespace qlczephra::document
