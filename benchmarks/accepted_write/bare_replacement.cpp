#include "benchmarks/accepted_write/bare_replacement.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace qlczephra::benchmark {
namespace {

void require(bool done, const std::string& what) {
  if (done) return;
  std::perror(what.c_str());
  std::exit(1);
}

}  // namespace

BareReplacement::BareReplacement(std::string directory, std::string patch, std::string local)
    : directory_(std::move(directory)), patch_(std::move(patch)), local_(std::move(local)) {}

void BareReplacement::replace(const std::string& path, const std::string& content) {
  const std::string temporary = path + ".new";
  const int file = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  require(file >= 0, temporary);
  require(::write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size()), temporary);
  require(::fdatasync(file) == 0 && ::close(file) == 0, temporary);
  require(::rename(temporary.c_str(), path.c_str()) == 0, path);
}

void BareReplacement::run() {
  replace(directory_ + "/bare-patch.plist", patch_);
  const int directory = ::open(directory_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  require(directory >= 0 && ::fsync(directory) == 0 && ::close(directory) == 0, directory_);
  replace(directory_ + "/bare-local.plist", local_);
}

}  // namespace qlczephra::benchmark
