// The home of a user's two files of pending changes: the patch file (changes not yet handed to an upload) and the
// sending file (those of the upload in flight).
//
// One object owns both files and the lock over them; managers of one process that name the same files share it, so that
// whatever is done to the files is done under one lock. The same lock serialises the replacement of the settings that
// are made from the files: whoever comes last has everybody's changes in its tree.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/mutex.h"
#include "platform/platform.h"
#include "qlczephra/value.h"

namespace qlczephra {

class PendingChanges {
 public:
  // What is to be laid over the service's values, lowest first. Empty where there is no file.
  struct Layers {
    Map sending;
    Map patch;
  };

  // The object for a patch file, one for all managers on this platform that name it. Paths are compared as absolute
  // paths without "." and "..", links not resolved. For an unset path, or one that leaves no other name for the sending
  // file, an object of its own that has no files.
  [[nodiscard]] static std::shared_ptr<PendingChanges> at(platform::Platform& platform,
                                                          const std::optional<std::string>& patchFilePath);

  // `patchFilePath` with every ".plist" replaced by "-sending.plist"; none when there is none to replace, since the two
  // files would then be one.
  [[nodiscard]] static std::optional<std::string> sendingFilePath(const std::string& patchFilePath);

  // The patch lock. Not re-entrant; held for file work and merging only, never while host code runs or the network is
  // waited for.
  [[nodiscard]] platform::Mutex& patchLock() noexcept QLCZ_THREAD_ANNOTATION(lock_returned(patchLock_)) {
    return patchLock_;
  }

  [[nodiscard]] Layers layers() QLCZ_REQUIRES(patchLock_);

 private:
  struct Paths {
    std::string patch;
    std::string sending;
  };
  PendingChanges(platform::FileStore& files, std::optional<Paths> paths) : files_(files), paths_(std::move(paths)) {}

  platform::Mutex patchLock_;
  platform::FileStore& files_;
  const std::optional<Paths> paths_;
};

}  // namespace qlczephra
