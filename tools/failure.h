// What ends a command without success.
#pragma once

#include <stdexcept>
#include <string>

namespace qlczephra::tools {

enum class ExitStatus : int {
  success = 0,
  failure = 1,  // the command could not do what it was asked to
  misuse = 2,   // the command line asks for nothing that makes sense
};

// One line for people that names the input and, after a semicolon, the remedy; without the program's name in front.
class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& line, ExitStatus status = ExitStatus::failure)
      : std::runtime_error(line), status_(status) {}

  [[nodiscard]] ExitStatus status() const noexcept { return status_; }

 private:
  ExitStatus status_;
};

class Misuse : public Failure {
 public:
  explicit Misuse(const std::string& line) : Failure(line, ExitStatus::misuse) {}
};

}  // namespace qlczephra::tools
