#include "tools/input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

#include "platform/json/json.h"
#include "platform/plist/plist.h"
#include "tools/failure.h"

namespace qlczephra::tools {
namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

File open(const std::string& path) {
  return {std::fopen(path.c_str(), "rbe"), std::fclose};
}

// A file as the library opens those that it keeps: never through a link, without waiting for the writer of a FIFO, and
// not of any size. Null with ENOENT for whatever the library counts as missing.
File openKept(const std::string& path) {
  constexpr off_t largest = off_t{1} << 30U;
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (descriptor < 0) {
    if (errno == ENOTDIR || errno == ELOOP || errno == ENXIO) errno = ENOENT;
    return {nullptr, std::fclose};
  }
  struct stat status {};
  int error = ::fstat(descriptor, &status) != 0 ? errno : 0;
  if (error == 0 && !S_ISREG(status.st_mode)) error = ENOENT;
  if (error == 0 && status.st_size > largest) error = EFBIG;
  std::FILE* const file = error == 0 ? ::fdopen(descriptor, "rb") : nullptr;
  if (file == nullptr) {
    if (error == 0) error = errno;
    ::close(descriptor);
    errno = error;
  }
  return {file, std::fclose};
}

[[noreturn]] void cannotRead(const std::string& path, const std::string& remedy) {
  throw Failure("cannot read " + path + ": " + std::generic_category().message(errno) + "; " + remedy);
}

std::string readAll(std::FILE* file, const std::string& path, const std::string& remedy) {
  std::string content;
  char chunk[65536];
  std::size_t count = 0;
  while ((count = std::fread(chunk, 1, sizeof chunk, file)) != 0) content.append(chunk, count);
  if (std::ferror(file) != 0) cannotRead(path, remedy);
  return content;
}

// `Read` is what json::read and plist::read give.
template <typename Read>
Map mapAtTop(const Read& read, const std::string& path, const char* format, const std::string& remedy) {
  if (const auto* value = std::get_if<Value>(&read)) {
    if (const Map* map = value->map()) return *map;
    throw Failure(path + " is " + format + " but not a map at its top; " + remedy);
  }
  throw Failure(path + " is not " + format + " (" + std::get<1>(read).reason + "); " + remedy);
}

}  // namespace

std::string readInput(const std::string& path, const std::string& remedy) {
  if (path == "-") return readAll(stdin, "standard input", remedy);
  const File file = open(path);
  if (file == nullptr) cannotRead(path, remedy);
  return readAll(file.get(), path, remedy);
}

std::optional<Map> readPropertyListIfAny(const std::string& path, const std::string& remedy) {
  const File file = openKept(path);
  if (file == nullptr && errno == ENOENT) return std::nullopt;
  if (file == nullptr) cannotRead(path, remedy);
  return mapAtTop(plist::read(readAll(file.get(), path, remedy)), path, "an XML property list", remedy);
}

Map readPropertyList(const std::string& path, const std::string& remedy) {
  return mapAtTop(plist::read(readInput(path, remedy)), path, "an XML property list", remedy);
}

void refuseControlCharacters(const std::string& text, const char* what, const char* remedy) {
  for (const char c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
      throw Misuse(std::string(what) + " holds a line break or another control character; " + remedy);
    }
  }
}

}  // namespace qlczephra::tools
