#include "tools/standard_output_aside.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace qlczephra::tools {

StandardOutputAside::StandardOutputAside() {
  (void)std::fflush(stdout);
  output_ = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  if (output_ >= 0) ::dup2(STDERR_FILENO, STDOUT_FILENO);
}

StandardOutputAside::~StandardOutputAside() {
  (void)std::fflush(stdout);
  if (output_ < 0) return;
  ::dup2(output_, STDOUT_FILENO);
  ::close(output_);
}

}  // namespace qlczephra::tools
