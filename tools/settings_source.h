// Where a reading command takes the settings from: a service, or a file that a manager stored.
#pragma once

#include "tools/connection_options.h"
#include "tools/fetching.h"
#include "tools/log_follower.h"

namespace qlczephra::tools {

class SettingsSource {
 public:
  void addTo(CLI::App& command);

  [[nodiscard]] bool given() const { return !file_.empty() || connection_.given(); }

  // A manager that has the settings. Failure or Misuse when there are none to be had.
  [[nodiscard]] Host open() const;

  // What a message calls the source.
  [[nodiscard]] std::string name() const;

 private:
  [[nodiscard]] Host openFile() const;

  std::string file_;
  ConnectionOptions connection_;
  PatienceOptions patience_;
  LogOptions log_;
};

}  // namespace qlczephra::tools
