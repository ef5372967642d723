#include "tools/temporary_directory.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "tools/failure.h"

namespace qlczephra::tools {

TemporaryDirectory::TemporaryDirectory()
    : path_((std::filesystem::temp_directory_path() / "qlczephra-XXXXXX").string()) {
  if (::mkdtemp(path_.data()) == nullptr) {
    throw Failure("cannot make a directory " + path_ + ": " + std::generic_category().message(errno) +
                  "; name a writable place in TMPDIR");
  }
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace qlczephra::tools
