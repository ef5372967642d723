#include "tools/stdout_redirect.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>

#include "tools/failure.h"

namespace qlczephra::tools {

namespace {

// Interrupted by a signal, or in the way of an open() on another thread, it is tried again.
bool becomesStandardOutput(int descriptor) {
  while (::dup2(descriptor, STDOUT_FILENO) < 0) {
    if (errno != EINTR && errno != EBUSY) return false;
  }
  return true;
}

// Where there is no standard error, nobody reads it.
bool discardsStandardOutput() {
  const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere < 0) return false;
  const bool done = becomesStandardOutput(nowhere);
  ::close(nowhere);
  return done;
}

Failure failure(int error) {
  return Failure("standard output cannot be set aside: " + std::generic_category().message(error) +
                 "; write to a file or a pipe");
}

}  // namespace

StandardOutputAside::StandardOutputAside() {
  (void)std::fflush(stdout);
  output_ = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  if (output_ < 0) throw failure(errno);
  if (becomesStandardOutput(STDERR_FILENO) || discardsStandardOutput()) return;
  const int error = errno;
  ::close(output_);
  throw failure(error);
}

StandardOutputAside::~StandardOutputAside() {
  (void)std::fflush(stdout);
  (void)becomesStandardOutput(output_);  // cannot fail: both descriptors are open
  ::close(output_);
}

}  // namespace qlczephra::tools
