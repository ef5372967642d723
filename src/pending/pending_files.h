// The two files of pending changes, and the order of file operations in which a change cannot be lost.
//
// At every instant between two operations the files together hold every change that they held before: the sending file
// is complete and durable before the patch file goes, and what takes the place of a file is durable before anything
// that relies on it is done. A file that was read completely and makes no sense is set aside under another name before
// anything takes its place; after a passing read error nothing takes its place.
//
// Not safe for two threads at once: used under the patch lock. Errors are collected as lines for the log, which must
// not be written under that lock.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_store.h"
#include "qlczephra/value.h"
#include "state/plist_file.h"
#include "state/shared_text.h"

namespace qlczephra {

class PendingFiles {
 public:
  // `patchPath` outlives the object.
  PendingFiles(platform::FileStore& files, const SharedText& patchPath, const std::string& sendingPath);

  // `patchPath` with every ".plist" replaced by "-sending.plist"; none when there is none to replace, since the two
  // files would then be one.
  [[nodiscard]] static std::optional<std::string> sendingPathFor(std::string_view patchPath);

  [[nodiscard]] std::string patchPath() const { return patchPath_.text().value_or(""); }

  // Whether the files are this process's to change: another one that uses this library has them while it holds their
  // lock. Tries each time until it holds that lock itself. What is wrong with the files' owners and permissions is
  // added to `concerns`, once.
  [[nodiscard]] bool tryLock(std::vector<std::string>& concerns);

  // What cannot be read now is given as it was last seen. A file whose content went on, to the sending file or to the
  // service, and that could not be removed has an empty map.
  [[nodiscard]] PlistFileContent readPatch() { return read(patchPath(), lastPatch_, patchWentOn_); }
  [[nodiscard]] PlistFileContent readSending();

  // The sending file as it was last seen.
  [[nodiscard]] Map lastSending() const noexcept { return lastSending_ == nullptr ? Map() : lastSending_->map; }

  // Makes `changes` the patch file, durably. `present` is what readPatch() gave. Throws std::bad_alloc before the file
  // is replaced.
  [[nodiscard]] PlistFileWritten writePatch(const Map& changes, const PlistFileContent& present,
                                            std::vector<std::string>& errors);

  // Renames the patch file to the sending file, which must be missing. No space is needed for it.
  [[nodiscard]] bool promotePatch();
  // Makes `changes` the sending file, durably, and only then removes the patch file. False when the files stay as they
  // were.
  [[nodiscard]] bool replaceSending(const Map& changes, const PlistFileContent& sending, const PlistFileContent& patch,
                                    std::vector<std::string>& errors);
  // The service has what the sending file holds. If it cannot be removed, the next process sends it once more.
  void removeSending();
  // Tries again to remove files whose content went on.
  void removeLeftovers();

 private:
  // What a file held when it was last seen; null when it was missing, as most are most of the time.
  using Seen = std::unique_ptr<PlistFileContent>;

  [[nodiscard]] std::string sendingPath() const;
  [[nodiscard]] PlistFileContent read(const std::string& path, Seen& last, bool wentOn);
  void removePatch();
  [[nodiscard]] bool setAsideIfDamaged(const std::string& path, const PlistFileContent& content,
                                       std::vector<std::string>& errors);
  [[nodiscard]] PlistFileWritten write(const std::string& path, const Map& changes, const PlistFileContent& present,
                                       Seen& last, std::vector<std::string>& errors);
  struct Directories {
    std::string patch;
    std::string sending;
  };
  [[nodiscard]] Directories directories() const;
  // Makes all names changed so far durable. Needs no memory.
  [[nodiscard]] bool flushNames(const Directories& directories) noexcept;

  platform::FileStore& files_;
  std::unique_ptr<platform::FileLock> lock_;
  const SharedText& patchPath_;
  // Null when it follows from the other one, which it need not if a directory's own name holds ".plist".
  std::unique_ptr<const std::string> sendingPath_;
  // As the files were last seen: for want of a present look, and so that what did not change is not read again.
  Seen lastPatch_;
  Seen lastSending_;
  bool swept_ = false;
  // Whether names changed in the directory of the patch file, and in that of the sending file if it is another one,
  // which counts from the moment on at which it holds that file. An earlier process may have left some.
  bool namesNeedFlush_ = true;
  bool sendingNamesNeedFlush_ = false;
  bool patchWentOn_ = false;
  bool sendingWentOn_ = false;
  // A file was moved away from its name. The name must not be used again before that is durable: a power cut could keep
  // the later change of the name and undo the earlier one, and with it the moved file.
  bool moveNeedsFlush_ = true;
};

}  // namespace qlczephra
