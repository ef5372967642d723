#include "benchmarks/accepted_write/bare_replacement.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "benchmarks/support/require.h"

namespace qlczephra::bench {

void replaceBarely(const std::string& path, const std::string& content) {
  const std::string temporary = path + ".new";
  const int file = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  require(file >= 0, "cannot make " + temporary);
  require(::write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size()),
          "cannot write " + temporary);
  require(::fdatasync(file) == 0 && ::close(file) == 0, "cannot flush " + temporary);
  require(::rename(temporary.c_str(), path.c_str()) == 0, "cannot replace " + path);
}

void flushNames(const std::string& directory) {
  const int handle = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  require(handle >= 0 && ::fsync(handle) == 0 && ::close(handle) == 0, "cannot flush " + directory);
}

}  // namespace qlczephra::bench
