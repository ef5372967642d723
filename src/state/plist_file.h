// Files that hold one map as an XML property list: the local settings file, the patch file and the sending file.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/file_store.h"
#include "qlczephra/value.h"

namespace qlczephra {

struct PlistFileContent {
  enum class State : std::uint8_t {
    good,
    missing,
    damaged,      // read completely, and holds no map
    unavailable,  // could not be read now, and may well hold one
  };
  State state = State::missing;
  Map map;            // empty unless good
  std::string bytes;  // what was read
};

// Where the bytes are those of `known`, so is the map, which saves reading it again.
[[nodiscard]] PlistFileContent readPlistFile(platform::FileStore& files, const std::string& path,
                                             const PlistFileContent& known = {});

enum class PlistFileWritten : std::uint8_t {
  done,
  unchanged,  // the file held it already
  unfit,      // the map holds what the format cannot; nothing was touched
  failed,     // a file operation failed; the old file stays
};

// Replaces the file as a whole, unless its content, `present`, is already what would be written. `bytes` becomes what
// was to be written, made where it stays when `expectedSize` is a good guess.
[[nodiscard]] PlistFileWritten writePlistFile(platform::FileStore& files, const std::string& path, const Map& map,
                                              std::string_view present, std::size_t expectedSize, std::string& bytes);

}  // namespace qlczephra
