#include "service/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iterator>

namespace qlczephra::service {
namespace {

bool writeAll(int descriptor, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = ::write(descriptor, content.data(), content.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    content.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

std::optional<std::string> readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::string content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (file.bad()) return std::nullopt;
  return content;
}

bool replaceFile(const std::string& path, std::string_view content) {
  const std::string temporary = path + ".new";
  ::unlink(temporary.c_str());
  const int descriptor = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (descriptor < 0) return false;
  bool done = writeAll(descriptor, content) && ::fsync(descriptor) == 0;
  done = ::close(descriptor) == 0 && done;
  done = done && std::rename(temporary.c_str(), path.c_str()) == 0;
  if (!done) ::unlink(temporary.c_str());
  return done;
}

}  // namespace qlczephra::service
