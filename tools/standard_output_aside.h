// While it exists, what anybody writes to standard output goes to standard error: what the library writes there must
// not stand in output that a program reads.
#pragma once

namespace qlczephra::tools {

class StandardOutputAside {
 public:
  StandardOutputAside();
  ~StandardOutputAside();
  StandardOutputAside(const StandardOutputAside&) = delete;
  StandardOutputAside& operator=(const StandardOutputAside&) = delete;

 private:
  int output_;  // the descriptor that standard output had; -1 when it could not be moved
};

}  // namespace qlczephra::tools
