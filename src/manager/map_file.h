// Files that hold one map as an XML property list: the local settings file, the patch file and the sending file.
#pragma once

#include <cstdint>
#include <string>

#include "platform/file_store.h"
#include "qlczephra/value.h"

namespace qlczephra {

struct MapFileContent {
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

[[nodiscard]] MapFileContent readMapFile(platform::FileStore& files, const std::string& path);

enum class MapFileWritten : std::uint8_t {
  done,
  unchanged,  // the file held it already
  unfit,      // the map holds what the format cannot; nothing was touched
  failed,     // a file operation failed; the old file stays
};

// Replaces the file as a whole, unless its content, `present`, is already what would be written.
[[nodiscard]] MapFileWritten writeMapFile(platform::FileStore& files, const std::string& path, const Map& map,
                                          const std::string& present);

}  // namespace qlczephra
