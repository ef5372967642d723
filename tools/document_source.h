// The settings that follow from a settings document and files of pending changes, all named on the command line.
#pragma once

#include <string>

#include "qlczephra/value.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace qlczephra::tools {

class DocumentSource {
 public:
  // Adds the option that names the document, `name`, and those of the files of changes.
  CLI::Option* addTo(CLI::App& command, const std::string& name);

  [[nodiscard]] bool given() const { return !document_.empty(); }
  [[nodiscard]] const std::string& name() const { return document_; }

  // The effective settings tree. A Failure when a file cannot be read or the document is none.
  [[nodiscard]] Map tree() const;

 private:
  std::string document_;
  std::string sending_;
  std::string patch_;
};

}  // namespace qlczephra::tools
