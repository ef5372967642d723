// The file operations of file_store.h over POSIX calls. No state; any thread.
#pragma once

#include "platform/file_store.h"
#include "platform/native/files/file_locks.h"

namespace qlczephra::platform {

class NativeFileStore : public FileStore {
 public:
  FileStatus read(const std::string& path, std::string& content) override;
  FileStatus create(const std::string& path, Handle& handle) override;
  FileStatus write(Handle handle, std::string_view content) override;
  FileStatus flush(Handle handle) override;
  FileStatus close(Handle handle) override;
  FileStatus rename(const std::string& from, const std::string& to) override;
  FileStatus remove(const std::string& path) override;
  FileStatus flushDirectory(const std::string& path) override;
  Locked lock(const std::string& path, std::unique_ptr<FileLock>& lock) override;
  std::string concern(const std::string& path) override;

 private:
  FileLocks locks_;
};

}  // namespace qlczephra::platform
