// A value on the command line, whose kind an option names: a policy is nothing to guess at.
#pragma once

#include <string>

#include "qlczephra/value.h"

namespace CLI {
class App;
}

namespace qlczephra::tools {

class TypedValue {
 public:
  // The argument VALUE, and the options of which exactly one must be given.
  void addTo(CLI::App& command);

  // Misuse when the text is no value of the kind.
  [[nodiscard]] Value get() const;

 private:
  std::string text_;
  bool isBoolean_ = false;
  bool isInteger_ = false;
  bool isString_ = false;
  bool isJson_ = false;
};

}  // namespace qlczephra::tools
