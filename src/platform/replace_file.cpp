#include "platform/replace_file.h"

#include <cerrno>

#include "platform/planted_bug.h"

namespace qlczephra::platform {

namespace {

// How many leftovers of interrupted replacements one file may have.
constexpr int attempts = 100;

std::string temporaryName(const std::string& path, int attempt) {
  return path + ".new-" + std::to_string(attempt);
}

}  // namespace

std::string directoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

FileStatus replaceFile(FileStore& files, const std::string& path, std::string_view content) {
  // Names that an interrupted replacement left, or another process uses, are passed over.
  std::string temporary;
  FileStore::Handle handle = -1;
  FileStatus status{FileStatus::Kind::unavailable, EEXIST};
  for (int attempt = 0; attempt < attempts && status.systemError == EEXIST; ++attempt) {
    // Nobody writes a hundred at once.
    if (attempt == attempts - 1) removeStaleReplacements(files, path);
    temporary = temporaryName(path, attempt);
    status = files.create(temporary, handle);
  }
  if (!status.ok()) return status;

  status = files.write(handle, content);
  if (status.ok() && !isPlanted(PlantedBug::flushMissing)) status = files.flush(handle);
  const FileStatus closed = files.close(handle);
  if (status.ok()) status = closed;
  if (status.ok()) status = files.rename(temporary, path);
  if (!status.ok()) static_cast<void>(files.remove(temporary));
  return status;
}

void removeStaleReplacements(FileStore& files, const std::string& path) {
  // One that could not be removed once may have left a gap behind it.
  constexpr int widestGap = 3;
  for (int attempt = 0, missing = 0; attempt < attempts && missing <= widestGap; ++attempt) {
    missing = files.remove(temporaryName(path, attempt)).ok() ? 0 : missing + 1;
  }
}

}  // namespace qlczephra::platform
