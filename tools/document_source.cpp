#include "tools/document_source.h"

#include <CLI/CLI.hpp>
#include <variant>

#include "document/settings_document.h"
#include "tools/failure.h"
#include "tools/input.h"

namespace qlczephra::tools {
namespace {

Map changesIn(const std::string& path, const char* option) {
  if (path.empty()) return {};
  return readPropertyList(path, std::string("give a file of pending changes with ") + option);
}

}  // namespace

CLI::Option* DocumentSource::addTo(CLI::App& command, const std::string& name) {
  CLI::Option* document = command.add_option(name, document_, "Settings document (JSON), - for standard input");
  command.add_option("--sending", sending_, "File of the changes that are being uploaded")->option_text("FILE");
  command.add_option("--patch", patch_, "File of the changes that wait")->option_text("FILE");
  return document;
}

Map DocumentSource::tree() const {
  const std::string remedy = "give the path of a settings document, or - for standard input";
  const auto interpreted = document::SettingsDocument::interpret(readInput(document_, remedy));
  const auto* settings = std::get_if<document::SettingsDocument>(&interpreted);
  if (settings == nullptr) {
    const auto& fault = std::get<document::NoSettings>(interpreted);
    if (!fault.isObject) throw Failure(document_ + " is not JSON (" + fault.reason + "); " + remedy);
    throw Failure(document_ +
                  " is no settings document: it needs a schema for \"common\" and one for \"macos\" under "
                  "\"data\", \"eff_schema\"; give the service's reply as it came");
  }
  const Map sending = changesIn(sending_, "--sending");
  const Map patch = changesIn(patch_, "--patch");
  return settings->effectiveTree({&sending, &patch});
}

}  // namespace qlczephra::tools
