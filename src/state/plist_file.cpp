#include "state/plist_file.h"

#include <optional>
#include <variant>

#include "platform/plist/plist.h"
#include "platform/replace_file.h"

namespace qlczephra {

PlistFileContent readPlistFile(platform::FileStore& files, const std::string& path, const PlistFileContent& known) {
  using State = PlistFileContent::State;
  PlistFileContent content;
  const platform::FileStatus status = files.read(path, content.bytes);
  if (!status.ok()) {
    content.state = status.kind == platform::FileStatus::Kind::missing ? State::missing : State::unavailable;
    content.bytes.clear();
    return content;
  }
  if (known.state == State::good && content.bytes == known.bytes) {
    content.state = State::good;
    content.map = known.map;
    return content;
  }
  const auto decoded = plist::read(content.bytes);
  const auto* value = std::get_if<Value>(&decoded);
  const Map* map = value == nullptr ? nullptr : value->map();
  content.state = map == nullptr ? State::damaged : State::good;
  if (map != nullptr) content.map = *map;
  return content;
}

PlistFileWritten writePlistFile(platform::FileStore& files, const std::string& path, const Map& map,
                                std::string_view present, std::size_t expectedSize, std::string& bytes) {
  constexpr std::size_t someGrowth = 512;
  std::optional<std::string> content = plist::write(Value(map), expectedSize + someGrowth);
  if (!content) return PlistFileWritten::unfit;
  bytes = *std::move(content);
  if (bytes == present) return PlistFileWritten::unchanged;
  return platform::replaceFile(files, path, bytes).ok() ? PlistFileWritten::done : PlistFileWritten::failed;
}

}  // namespace qlczephra
