// Reading what the user named on the command line. Every fault is a Failure that names the file; `remedy` says what to
// do about it.
#pragma once

#include <optional>
#include <string>

#include "qlczephra/value.h"

namespace qlczephra::tools {

// The whole content of a file, or of standard input when `path` is "-".
[[nodiscard]] std::string readInput(const std::string& path, const std::string& remedy);

// The map at the top of an XML property list, as the manager's files are.
[[nodiscard]] Map readPropertyList(const std::string& path, const std::string& remedy);

// The same of a file that a manager keeps; none when there is none. What the library would not read counts as none: a
// link, a FIFO, a directory.
[[nodiscard]] std::optional<Map> readPropertyListIfAny(const std::string& path, const std::string& remedy);

// Misuse when `text`, which a message calls `what`, holds a control character, as something pasted may.
void refuseControlCharacters(const std::string& text, const char* what, const char* remedy);

}  // namespace qlczephra::tools
