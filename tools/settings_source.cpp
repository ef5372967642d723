#include "tools/settings_source.h"

#include <CLI/CLI.hpp>

#include "tools/failure.h"
#include "tools/input.h"

namespace qlczephra::tools {

void SettingsSource::addTo(CLI::App& command) {
  CLI::Option* file = command.add_option("--file", file_, "Read this stored settings file, without a service");
  file->option_text("FILE");
  CLI::Option* service = connection_.addTo(command);
  patience_.addTo(command);
  log_.addTo(command);
  file->excludes(service);
}

Host SettingsSource::open() const {
  const auto log = LogFollower::install(log_);
  if (!file_.empty()) return openFile();
  if (!connection_.given()) {
    throw Misuse("there is nothing to read from; give --service URL --product NAME with a token, or --file FILE");
  }
  Host host = connection_.connect();
  fetchSettings(*host.manager, connection_.what(), patience_, *log);
  return host;
}

std::string SettingsSource::name() const {
  return file_.empty() ? connection_.what() : file_;
}

// The file is read here and not by the manager, which takes a damaged file for a missing one without saying so.
Host SettingsSource::openFile() const {
  const Map settings = readPropertyList(file_, "give the path of a stored settings file with --file");
  Host host = makeHost("http://localhost", "none", "none", "none");  // never asked
  host.manager->setCurrentSettings(settings);
  return host;
}

}  // namespace qlczephra::tools
