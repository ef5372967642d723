// The few file operations that the library needs, each one step that may fail and after which the machine may stop.
// What is built from them (a whole file replaced at once) stands in replace_file.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace qlczephra::platform {

struct FileStatus {
  enum class Kind : std::uint8_t {
    done,
    missing,      // no such file or directory, or nothing that is a regular file
    unavailable,  // it may be there, but could not be used now: permissions, descriptors, memory, I/O, space
  };
  Kind kind = Kind::done;
  int systemError = 0;  // errno, 0 when done

  [[nodiscard]] bool ok() const noexcept { return kind == Kind::done; }
};

// Held as long as the object lives.
class FileLock {
 public:
  virtual ~FileLock() = default;
};

class FileStore {
 public:
  using Handle = std::int64_t;

  static constexpr std::size_t largestFile = std::size_t{1} << 30U;

  virtual ~FileStore() = default;

  // The whole content of a regular file, which counts as unavailable when it is larger than any that the library writes
  // (`largestFile`) or there is no memory for it. A link, FIFO, device or directory in its place counts as missing and
  // is neither followed nor waited for.
  virtual FileStatus read(const std::string& path, std::string& content) = 0;

  // A new file for its owner alone (0600); fails when anything stands at `path`.
  virtual FileStatus create(const std::string& path, Handle& handle) = 0;
  virtual FileStatus write(Handle handle, std::string_view content) = 0;  // all of it, or a failure
  virtual FileStatus flush(Handle handle) = 0;                            // content and size are durable
  virtual FileStatus close(Handle handle) = 0;                            // the handle is gone in any case

  virtual FileStatus rename(const std::string& from, const std::string& to) = 0;  // replaces `to`, a link included
  virtual FileStatus remove(const std::string& path) = 0;
  virtual FileStatus flushDirectory(const std::string& path) = 0;  // names made, changed and removed in it are durable

  // Keeps other processes that ask here, too, from `path`, without waiting. Advisory: whoever does not ask is not kept
  // off. Not between two callers in one process, whose second one gets a lock as well.
  enum class Locked : std::uint8_t {
    held,
    elsewhere,    // another process holds it
    unavailable,  // no lock can be had here
  };
  virtual Locked lock(const std::string& path, std::unique_ptr<FileLock>& lock) = 0;

  // What lets other users read or change the file, or replace it in its directory, in words; empty when nothing does,
  // or nothing is there.
  virtual std::string concern(const std::string& path) = 0;
};

}  // namespace qlczephra::platform
