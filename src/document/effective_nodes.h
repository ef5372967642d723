// From what a schema says to setting nodes, with the service's values laid over them on the way.
#pragma once

#include "document/schema.h"
#include "qlczephra/value.h"

namespace qlczephra::document {

// The node of a section: an empty map when its schema has no properties, otherwise {"v": children, "ro": ...,
// "dynamic": true when so}, as mergeValues() makes it of `values` unless these are null. The defaults in `schema` move
// to the nodes.
[[nodiscard]] Map effectiveNodes(Schema& schema, const PropertySchema& section, const Map* values);

}  // namespace qlczephra::document
