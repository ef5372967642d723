// The least that files cost which are replaced and flushed, without anything to decide.
#pragma once

#include <string>

namespace qlczephra::bench {

// The system calls with which the library replaces a file (written beside it, flushed, renamed), made directly. Ends
// the program when one fails.
void replaceBarely(const std::string& path, const std::string& content);

// Makes the names in a directory durable. Ends the program when that fails.
void flushNames(const std::string& directory);

}  // namespace qlczephra::bench
