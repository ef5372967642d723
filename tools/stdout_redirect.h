// While it exists, what anybody writes to standard output goes to standard error: what the library writes there must
// not stand in output that a program reads.
#pragma once

namespace qlczephra::tools {

class StandardOutputAside {
 public:
  StandardOutputAside();  // throws Failure when there is no standard output, or it cannot be moved
  ~StandardOutputAside();
  StandardOutputAside(const StandardOutputAside&) = delete;
  StandardOutputAside& operator=(const StandardOutputAside&) = delete;

 private:
  int output_ = -1;  // what standard output was
};

}  // namespace qlczephra::tools
