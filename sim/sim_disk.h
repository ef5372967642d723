// A disk in memory that forgets like a real one.
//
// What a file holds is durable once the file was flushed; that a name was made, changed or removed is durable once its
// directory was flushed. After a power cut each file that was not flushed holds what it held when it last was, nothing,
// a part, or all of it, and each change of a name that was not flushed has happened or not, also a later one without an
// earlier one. A rename happens as a whole or not at all.
//
// Paths are absolute and taken as they stand. There are no links, and nobody else uses the disk.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_store.h"
#include "sim/disk_faults.h"
#include "sim/disk_image.h"
#include "sim/history.h"
#include "sim/random.h"

namespace qlczephra::sim {

class SimDisk : public platform::FileStore {
 public:
  // `random` and `history` outlive the object.
  SimDisk(DiskImage image, Random& random, History& history);

  platform::FileStatus read(const std::string& path, std::string& content) override;
  platform::FileStatus create(const std::string& path, Handle& handle) override;
  // A write that fails leaves a part of what was to be written.
  platform::FileStatus write(Handle handle, std::string_view content) override;
  platform::FileStatus flush(Handle handle) override;
  platform::FileStatus close(Handle handle) override;
  platform::FileStatus rename(const std::string& from, const std::string& to) override;
  platform::FileStatus remove(const std::string& path) override;
  platform::FileStatus flushDirectory(const std::string& path) override;
  Locked lock(const std::string& path, std::unique_ptr<platform::FileLock>& lock) override;
  std::string concern(const std::string&) override { return {}; }

  DiskFaults faults;
  Locked lockAnswer = Locked::held;  // what lock() gives from now on

  // Calls made so far, failed ones included.
  [[nodiscard]] std::uint64_t calls() const noexcept { return calls_; }
  // `action` runs in place of call `number`; it is to end the process, and with it the disk's work (stop()).
  void atCall(std::uint64_t number, std::function<void()> action);
  void cancelAction() noexcept { action_ = nullptr; }
  // Operation and path of the call in whose place the action ran; empty while it did not.
  [[nodiscard]] const std::string& actionRanAt() const noexcept { return actionRanAt_; }
  // From now on every call fails and changes nothing.
  void stop() noexcept { stopped_ = true; }

  // For looking on and for setting the scene; not counted as calls, and durable.
  void makeDirectory(const std::string& path) { directories_.insert(path); }
  void put(const std::string& path, std::string content);
  [[nodiscard]] std::optional<std::string> content(const std::string& path) const;
  [[nodiscard]] std::vector<std::string> paths() const;
  [[nodiscard]] std::size_t openHandles() const noexcept { return handles_.size(); }

  // What the next process finds after this one was killed, and after the machine stopped.
  [[nodiscard]] DiskImage afterKill() const;
  [[nodiscard]] DiskImage afterPowerCut();

 private:
  struct File {
    std::string content;
    std::string durable;
  };
  using FileRef = std::shared_ptr<File>;
  using Names = std::map<std::string, FileRef>;
  // A change of names in one directory that is not durable yet: `from` stops to name a file, `to` begins to. Either may
  // be empty.
  struct NameChange {
    std::string from;
    std::string to;
    FileRef file;
    void applyTo(Names& names) const;
  };

  // Counts the call; what it must fail with, if it must.
  [[nodiscard]] std::optional<platform::FileStatus> begin(DiskCall::Operation operation, const std::string& path);
  void change(NameChange change);
  [[nodiscard]] std::string torn(const File& file);

  Random& random_;
  History& history_;
  std::set<std::string> directories_;
  Names names_;
  Names durableNames_;
  std::map<std::string, std::vector<NameChange>> pending_;  // by directory
  struct OpenFile {
    FileRef file;
    std::string path;
  };
  std::map<Handle, OpenFile> handles_;
  Handle nextHandle_ = 3;
  std::uint64_t calls_ = 0;
  std::uint64_t actionAt_ = 0;
  std::function<void()> action_;
  std::string actionRanAt_;
  bool stopped_ = false;
};

}  // namespace qlczephra::sim
