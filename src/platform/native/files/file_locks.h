// Advisory locks on file names against other processes.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "platform/file_store.h"
#include "platform/mutex.h"

namespace qlczephra::platform {

// A lock on a name is a lock on one byte of a small file in its directory, at the place that the name's hash gives; so
// thousands of locked names cost one descriptor a directory. The file stays empty, and is never removed: who removed it
// while another process opens it would leave them with two files to lock.
class FileLocks {
 public:
  static constexpr const char* fileName = ".qlczephra.lock";

  FileStore::Locked lock(const std::string& path, std::unique_ptr<FileLock>& lock) QLCZ_EXCLUDES(mutex_);

 private:
  class LockFile;
  class Range;
  std::shared_ptr<LockFile> fileIn(const std::string& directory) QLCZ_REQUIRES(mutex_);

  Mutex mutex_;
  std::map<std::string, std::weak_ptr<LockFile>> files_ QLCZ_GUARDED_BY(mutex_);  // by directory
};

}  // namespace qlczephra::platform
