// Reading what the user named on the command line. Every fault is a Failure that names the file; `remedy` says what to
// do about it.
#pragma once

#include <string>

#include "qlczephra/value.h"

namespace qlczephra::tools {

// The whole content of a file, or of standard input when `path` is "-".
[[nodiscard]] std::string readInput(const std::string& path, const std::string& remedy);

// The map at the top of an XML property list, as the manager's files are.
[[nodiscard]] Map readPropertyList(const std::string& path, const std::string& remedy);

// The same; an empty map when there is no such file.
[[nodiscard]] Map readPropertyListIfAny(const std::string& path, const std::string& remedy);

// The object at the top of a JSON text.
[[nodiscard]] Map readJsonObject(const std::string& path, const std::string& remedy);

}  // namespace qlczephra::tools
