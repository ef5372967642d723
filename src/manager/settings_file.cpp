#include "manager/settings_file.h"

#include <variant>

#include "platform/plist/plist.h"
#include "platform/replace_file.h"

namespace qlczephra {

std::optional<Map> readMapFile(platform::FileStore& files, const std::string& path) {
  std::string content;
  if (!files.read(path, content).ok()) return std::nullopt;
  const auto decoded = plist::read(content);
  const auto* value = std::get_if<Value>(&decoded);
  if (value == nullptr || value->map() == nullptr) return std::nullopt;
  return *value->map();
}

bool writeMapFile(platform::FileStore& files, const std::string& path, const Map& map) {
  const std::optional<std::string> content = plist::write(Value(map));
  return content && platform::replaceFile(files, path, *content).ok();
}

}  // namespace qlczephra
