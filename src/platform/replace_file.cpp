#include "platform/replace_file.h"

#include <cerrno>
#include <vector>

namespace qlczephra::platform {

namespace {

constexpr std::string_view temporaryMark = ".new-";

std::string temporaryPrefix(const std::string& path) {
  return path + std::string(temporaryMark);
}

}  // namespace

std::string directoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

FileStatus replaceFile(FileStore& files, const std::string& path, std::string_view content) {
  // Names that an interrupted replacement left are passed over.
  constexpr int attempts = 100;
  std::string temporary;
  FileStore::Handle handle = -1;
  FileStatus status;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    temporary = temporaryPrefix(path) + std::to_string(attempt);
    status = files.create(temporary, handle);
    if (status.systemError != EEXIST) break;
  }
  if (!status.ok()) return status;

  status = files.write(handle, content);
  if (status.ok()) status = files.flush(handle);
  const FileStatus closed = files.close(handle);
  if (status.ok()) status = closed;
  if (status.ok()) status = files.rename(temporary, path);
  if (!status.ok()) static_cast<void>(files.remove(temporary));
  return status;
}

void removeStaleReplacements(FileStore& files, const std::string& path) {
  const std::string directory = directoryOf(path);
  std::vector<std::string> names;
  if (!files.list(directory, names).ok()) return;
  const std::size_t slash = path.rfind('/');
  const std::string prefix = temporaryPrefix(slash == std::string::npos ? path : path.substr(slash + 1));
  for (const std::string& name : names) {
    if (name.starts_with(prefix)) static_cast<void>(files.remove(directory + "/" + name));
  }
}

}  // namespace qlczephra::platform
