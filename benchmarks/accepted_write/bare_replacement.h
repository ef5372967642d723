// The least that a change costs on any disk: its two files replaced and flushed, without anything to decide.
#pragma once

#include <string>

namespace qlczephra::benchmark {

// The system calls with which the library replaces the patch file (flushed, renamed, name flushed) and the local
// settings file (flushed, renamed), made directly. Ends the program when one fails.
class BareReplacement {
 public:
  // The contents are as long as those that the library writes.
  BareReplacement(std::string directory, std::string patch, std::string local);

  void run();

 private:
  static void replace(const std::string& path, const std::string& content);

  const std::string directory_;
  std::string patch_;
  std::string local_;
};

}  // namespace qlczephra::benchmark
