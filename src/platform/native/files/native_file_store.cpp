#include "platform/native/files/native_file_store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <new>

#include "platform/native/base/descriptor.h"
#include "platform/native/files/file_permissions.h"

namespace qlczephra::platform {

namespace {

FileStatus failure(int error) noexcept {
  // ELOOP: a link where O_NOFOLLOW wants a file; ENXIO: a socket or a device without driver.
  const bool missing = error == ENOENT || error == ENOTDIR || error == ELOOP || error == ENXIO || error == EISDIR;
  return {missing ? FileStatus::Kind::missing : FileStatus::Kind::unavailable, error};
}

FileStatus statusOf(int result) noexcept {
  return result < 0 ? failure(errno) : FileStatus{};
}

int descriptorOf(FileStore::Handle handle) noexcept {
  return static_cast<int>(handle);
}

}  // namespace

FileStatus NativeFileStore::read(const std::string& path, std::string& content) try {
  content.clear();
  // Not blocking, so that a FIFO is opened without waiting for its writer and then refused.
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
  if (file.get() < 0) return failure(errno);
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return failure(errno);
  if (!S_ISREG(status.st_mode)) return failure(ENOENT);

  // One byte more than the size, so that the end is seen by the read that fills the rest; a file that grows meanwhile
  // is read on.
  if (static_cast<std::uintmax_t>(status.st_size) > largestFile) return failure(EFBIG);
  content.resize(static_cast<std::size_t>(status.st_size) + 1);
  std::size_t filled = 0;
  for (;;) {
    if (filled > largestFile) {
      content.clear();
      return failure(EFBIG);
    }
    if (filled == content.size()) content.resize(content.size() * 2);
    const ssize_t count = ::read(file.get(), content.data() + filled, content.size() - filled);
    if (count < 0) {
      if (errno == EINTR) continue;
      const FileStatus failed = failure(errno);
      content.clear();
      return failed;
    }
    if (count == 0) break;
    filled += static_cast<std::size_t>(count);
  }
  content.resize(filled);
  return {};
} catch (const std::bad_alloc&) {
  content = std::string();
  return failure(ENOMEM);
}

FileStatus NativeFileStore::create(const std::string& path, Handle& handle) {
  const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  handle = descriptor;
  return statusOf(descriptor);
}

FileStatus NativeFileStore::write(Handle handle, std::string_view content) {
  while (!content.empty()) {
    const ssize_t count = ::write(descriptorOf(handle), content.data(), content.size());
    if (count < 0) {
      if (errno == EINTR) continue;
      return failure(errno);
    }
    content.remove_prefix(static_cast<std::size_t>(count));
  }
  return {};
}

FileStatus NativeFileStore::flush(Handle handle) {
  return statusOf(::fdatasync(descriptorOf(handle)));
}

FileStatus NativeFileStore::close(Handle handle) {
  return statusOf(::close(descriptorOf(handle)));
}

FileStatus NativeFileStore::rename(const std::string& from, const std::string& to) {
  return statusOf(::rename(from.c_str(), to.c_str()));
}

FileStatus NativeFileStore::remove(const std::string& path) {
  return statusOf(::unlink(path.c_str()));
}

FileStatus NativeFileStore::flushDirectory(const std::string& path) {
  const Descriptor directory(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (directory.get() < 0) return failure(errno);
  return statusOf(::fsync(directory.get()));
}

FileStore::Locked NativeFileStore::lock(const std::string& path, std::unique_ptr<FileLock>& lock) {
  return locks_.lock(path, lock);
}

std::string NativeFileStore::concern(const std::string& path) {
  return permissionProblem(path);
}

}  // namespace qlczephra::platform
