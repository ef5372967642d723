#include "platform/native/files/file_locks.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <map>
#include <string_view>
#include <utility>

#include "platform/native/base/descriptor.h"
#include "platform/replace_file.h"

namespace qlczephra::platform {

namespace {

// The byte that stands for a name: FNV-1a, which every build gives alike.
off_t placeOf(std::string_view name) noexcept {
  std::uint64_t hash = 14695981039346656037U;
  for (const char c : name) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
  return static_cast<off_t>(hash >> 2U);
}

// Belongs to the open file, not to the process, so that closing another descriptor of the file does not give it up.
bool setLock(int descriptor, short type, off_t place) noexcept {
  struct flock range {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  range.l_start = place;
  range.l_len = 1;
  return ::fcntl(descriptor, F_OFD_SETLK, &range) == 0;
}

}  // namespace

class FileLocks::LockFile {
 public:
  explicit LockFile(const std::string& path)
      : path_(path),
        file_(::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, 0600)) {}
  // A place is held as often as it was locked in this process: two owners of one name may follow closely on each other.
  [[nodiscard]] bool lock(off_t place) QLCZ_EXCLUDES(mutex_) {
    const MutexLock hold(mutex_);
    if (const auto held = held_.find(place); held != held_.end()) {
      ++held->second;
      return true;
    }
    if (!setLock(file_.get(), F_WRLCK, place)) return false;
    held_.emplace(place, 1);
    return true;
  }
  void unlock(off_t place) noexcept QLCZ_EXCLUDES(mutex_) {
    const MutexLock hold(mutex_);
    const auto held = held_.find(place);
    if (--held->second > 0) return;
    held_.erase(held);
    setLock(file_.get(), F_UNLCK, place);
  }
  // Whether this is the file that others find, too.
  [[nodiscard]] bool isInPlace() const noexcept {
    struct stat own {};
    struct stat named {};
    return ::fstat(file_.get(), &own) == 0 && S_ISREG(own.st_mode) && ::lstat(path_.c_str(), &named) == 0 &&
           own.st_dev == named.st_dev && own.st_ino == named.st_ino;
  }

 private:
  const std::string path_;
  const Descriptor file_;
  Mutex mutex_;
  std::map<off_t, int> held_ QLCZ_GUARDED_BY(mutex_);
};

class FileLocks::Range : public FileLock {
 public:
  Range(std::shared_ptr<LockFile> file, off_t place) noexcept : file_(std::move(file)), place_(place) {}
  ~Range() override { file_->unlock(place_); }
  Range(const Range&) = delete;
  Range& operator=(const Range&) = delete;

 private:
  const std::shared_ptr<LockFile> file_;
  const off_t place_;
};

std::shared_ptr<FileLocks::LockFile> FileLocks::fileIn(const std::string& directory) {
  std::erase_if(files_, [](const auto& entry) { return entry.second.expired(); });
  std::weak_ptr<LockFile>& known = files_[directory];
  auto file = known.lock();
  // One that was removed keeps the locks that are on it; new ones go where other processes look.
  if (file == nullptr || !file->isInPlace()) {
    file = std::make_shared<LockFile>(directory + "/" + fileName);
    known = file;
  }
  return file;
}

FileStore::Locked FileLocks::lock(const std::string& path, std::unique_ptr<FileLock>& lock) {
  const MutexLock hold(mutex_);
  const std::string directory = directoryOf(path);
  auto file = fileIn(directory);
  if (!file->isInPlace()) return FileStore::Locked::unavailable;
  const off_t place = placeOf(std::string_view(path).substr(path.rfind('/') + 1));
  if (!file->lock(place)) {
    return errno == EAGAIN || errno == EACCES ? FileStore::Locked::elsewhere : FileStore::Locked::unavailable;
  }
  lock = std::make_unique<Range>(std::move(file), place);
  return FileStore::Locked::held;
}

}  // namespace qlczephra::platform
