// How results reach standard output: for people, or as one line of JSON for machines.
#pragma once

#include <string>
#include <vector>

#include "qlczephra/value.h"

namespace CLI {
class App;
}

namespace qlczephra::tools {

struct OutputOptions {
  bool json = false;

  void addTo(CLI::App& command);
};

// Prints a line and checks that it was written: a full disk or a closed pipe is a Failure.
void printLine(const std::string& line);

// For people: a string as it stands (as JSON when it would steer the terminal), a list or map as indented JSON.
void printValue(const Value& value, const OutputOptions& options);

// For people always indented JSON, for machines on one line.
void printTree(const Map& tree, const OutputOptions& options);

// One line each for people; a JSON list for machines.
void printNames(const std::vector<std::string>& names, const OutputOptions& options);

}  // namespace qlczephra::tools
