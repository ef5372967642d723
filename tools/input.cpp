#include "tools/input.h"

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

Map readPropertyListIfAny(const std::string& path, const std::string& remedy) {
  const File file = open(path);
  if (file == nullptr && errno == ENOENT) return {};
  if (file == nullptr) cannotRead(path, remedy);
  return mapAtTop(plist::read(readAll(file.get(), path, remedy)), path, "an XML property list", remedy);
}

Map readPropertyList(const std::string& path, const std::string& remedy) {
  return mapAtTop(plist::read(readInput(path, remedy)), path, "an XML property list", remedy);
}

Map readJsonObject(const std::string& path, const std::string& remedy) {
  return mapAtTop(json::read(readInput(path, remedy)), path, "JSON", remedy);
}

}  // namespace qlczephra::tools
