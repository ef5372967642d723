// The library's work on a settings document, done with nlohmann::json.
#pragma once

#include <nlohmann/json.hpp>
#include <string_view>

namespace qlczephra::bench {

// From the text of a document to its effective tree: a node with "v", "ro" and "dynamic" for each piece of the schema,
// with its default, and the values laid over. What the parsed document holds is moved into the tree, not copied. Null
// when the text is no document.
[[nodiscard]] nlohmann::json effectiveTreeWithNlohmann(std::string_view document);

}  // namespace qlczephra::bench
