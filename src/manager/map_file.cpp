#include "manager/map_file.h"

#include <optional>
#include <variant>

#include "platform/plist/plist.h"
#include "platform/replace_file.h"

namespace qlczephra {

MapFileContent readMapFile(platform::FileStore& files, const std::string& path) {
  using State = MapFileContent::State;
  MapFileContent content;
  const platform::FileStatus status = files.read(path, content.bytes);
  if (!status.ok()) {
    content.state = status.kind == platform::FileStatus::Kind::missing ? State::missing : State::unavailable;
    content.bytes.clear();
    return content;
  }
  const auto decoded = plist::read(content.bytes);
  const auto* value = std::get_if<Value>(&decoded);
  const Map* map = value == nullptr ? nullptr : value->map();
  content.state = map == nullptr ? State::damaged : State::good;
  if (map != nullptr) content.map = *map;
  return content;
}

MapFileWritten writeMapFile(platform::FileStore& files, const std::string& path, const Map& map,
                            const std::string& present) {
  const std::optional<std::string> content = plist::write(Value(map));
  if (!content) return MapFileWritten::unfit;
  if (*content == present) return MapFileWritten::unchanged;
  return platform::replaceFile(files, path, *content).ok() ? MapFileWritten::done : MapFileWritten::failed;
}

}  // namespace qlczephra
