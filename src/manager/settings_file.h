// Files that hold one map as an XML property list: the local settings file, the patch file and the sending file.
#pragma once

#include <optional>
#include <string>

#include "platform/file_store.h"
#include "qlczephra/value.h"

namespace qlczephra {

// None when the file is missing, cannot be read, or holds no map.
[[nodiscard]] std::optional<Map> readMapFile(platform::FileStore& files, const std::string& path);

// Replaces the file as a whole. False when the map holds what the format cannot, or a step failed; the old file then
// stays.
[[nodiscard]] bool writeMapFile(platform::FileStore& files, const std::string& path, const Map& map);

}  // namespace qlczephra
