// A directory of its own for files that nobody needs after the command.
#pragma once

#include <string>

namespace qlczephra::tools {

class TemporaryDirectory {
 public:
  // Failure when there is no writable place for one.
  TemporaryDirectory();
  ~TemporaryDirectory();  // with all that is in it
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace qlczephra::tools
