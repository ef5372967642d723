// From what a schema says to setting nodes, with what the service offers laid over them on the way.
#pragma once

#include "document/schema.h"
#include "qlczephra/value.h"

namespace qlczephra::document {

// The node of a section: an empty map when its schema has no properties, otherwise {"v": children, "ro": ...,
// "dynamic": true when so}, with the values that it was offered, if it was, laid over as mergeValues() does. What the
// nodes hold moves out of `schema`.
[[nodiscard]] Map buildSettingsTree(Schema& schema, const PropertySchema& section, bool isOffered);

}  // namespace qlczephra::document
