// The two files of pending changes, looked at from outside. A manager may be replacing them meanwhile.
#pragma once

#include <string>

#include "qlczephra/value.h"

namespace qlczephra::tools {

class PendingFiles {
 public:
  // Misuse when `patchFile` is a name that no manager would take.
  explicit PendingFiles(const std::string& patchFile);

  [[nodiscard]] const std::string& waitingFile() const { return waiting_; }
  [[nodiscard]] const std::string& sendingFile() const { return sending_; }

  struct Changes {
    Map waiting;
    Map sending;  // handed to an upload, and not confirmed
  };
  // Failure when a file is there and cannot be read.
  [[nodiscard]] Changes read() const;
  // Whether one of the files has this change, a patch map.
  [[nodiscard]] bool hold(const Map& change) const;
  // Whether neither file is there: all changes have been confirmed.
  [[nodiscard]] bool areGone() const;

 private:
  std::string waiting_;
  std::string sending_;
};

}  // namespace qlczephra::tools
