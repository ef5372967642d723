// Stored settings of any size, and what the libraries that are compared do with them.
#pragma once

#include <plist/plist.h>

#include <cstddef>
#include <memory>
#include <pugixml.hpp>
#include <string>

#include "qlczephra/value.h"

namespace qlczephra::bench {

struct PlistFreeing {
  void operator()(plist_t node) const noexcept { plist_free(node); }
};
using PlistNode = std::unique_ptr<void, PlistFreeing>;

// The settings as the library stores them. Made when first asked for, and checked: every library reads the text, and
// ours reads what each writes back as the same tree. Ends the program when that does not hold.
[[nodiscard]] const std::string& storedText(std::size_t settings);

// libplist's and pugixml's text of a tree.
[[nodiscard]] std::size_t writeWithLibplist(plist_t node, std::string* copy = nullptr);
[[nodiscard]] std::string writeWithPugixml(const pugi::xml_document& document, std::size_t expectedSize);

[[nodiscard]] Value readWithOurs(const std::string& text);
[[nodiscard]] PlistNode readWithLibplist(const std::string& text);
void readWithPugixml(const std::string& text, pugi::xml_document& document);

}  // namespace qlczephra::bench
