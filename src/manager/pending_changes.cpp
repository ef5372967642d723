#include "manager/pending_changes.h"

#include <filesystem>
#include <map>
#include <string_view>
#include <utility>

#include "manager/settings_file.h"

namespace qlczephra {

namespace {

// All objects that have files, by platform and path. Lives as long as the process.
struct Registry {
  using Key = std::pair<platform::Platform*, std::string>;
  platform::Mutex mutex;
  std::map<Key, std::weak_ptr<PendingChanges>> objects QLCZ_GUARDED_BY(mutex);
};

Registry& registry() {
  static Registry& instance = *new Registry;
  return instance;
}

std::string comparablePath(const std::string& path) {
  std::error_code ignored;  // without a working directory the path is compared as it stands
  const std::filesystem::path absolute = std::filesystem::absolute(path, ignored);
  return (ignored ? std::filesystem::path(path) : absolute).lexically_normal().string();
}

}  // namespace

std::optional<std::string> PendingChanges::sendingFilePath(const std::string& patchFilePath) {
  constexpr std::string_view ending = ".plist";
  constexpr std::string_view sendingEnding = "-sending.plist";
  std::string result;
  std::size_t from = 0;
  for (std::size_t at = patchFilePath.find(ending); at != std::string::npos; at = patchFilePath.find(ending, from)) {
    result.append(patchFilePath, from, at - from).append(sendingEnding);
    from = at + ending.size();
  }
  if (from == 0) return std::nullopt;
  return result.append(patchFilePath, from);
}

std::shared_ptr<PendingChanges> PendingChanges::at(platform::Platform& platform,
                                                   const std::optional<std::string>& patchFilePath) {
  const auto make = [&](std::optional<Paths> paths) {
    return std::shared_ptr<PendingChanges>(new PendingChanges(platform.files(), std::move(paths)));
  };
  std::optional<std::string> sending = patchFilePath ? sendingFilePath(*patchFilePath) : std::nullopt;
  if (!sending) return make(std::nullopt);

  Registry& all = registry();
  const platform::MutexLock lock(all.mutex);
  std::erase_if(all.objects, [](const auto& entry) { return entry.second.expired(); });
  std::weak_ptr<PendingChanges>& known = all.objects[{&platform, comparablePath(*patchFilePath)}];
  if (auto shared = known.lock()) return shared;
  auto made = make(Paths{*patchFilePath, *std::move(sending)});
  known = made;
  return made;
}

PendingChanges::Layers PendingChanges::layers() {
  if (!paths_) return {};
  return {readMapFile(files_, paths_->sending).value_or(Map()), readMapFile(files_, paths_->patch).value_or(Map())};
}

}  // namespace qlczephra
