#include "sim/sim_disk.h"

#include <cerrno>
#include <utility>

#include "platform/replace_file.h"

namespace qlczephra::sim {

using platform::directoryOf;
using platform::FileStatus;
using Operation = DiskCall::Operation;

namespace {

FileStatus failure(int error) {
  const bool missing = error == ENOENT || error == EISDIR;
  return {missing ? FileStatus::Kind::missing : FileStatus::Kind::unavailable, error};
}

}  // namespace

SimDisk::SimDisk(DiskImage image, Random& random, History& history)
    : random_(random), history_(history), directories_(std::move(image.directories)) {
  for (auto& [path, content] : image.files) put(path, std::move(content));
}

void SimDisk::atCall(std::uint64_t number, std::function<void()> action) {
  actionAt_ = number;
  action_ = std::move(action);
}

std::optional<FileStatus> SimDisk::begin(Operation operation, const std::string& path) {
  const DiskCall call{++calls_, operation, path};
  if (!stopped_ && action_ && calls_ == actionAt_) {
    actionRanAt_ = std::string(nameOf(operation)) + " " + path;
    std::exchange(action_, nullptr)();
  }
  if (stopped_) return failure(EIO);
  const int error = faults.errorOf(call, random_);
  history_.note("disk", std::string(nameOf(operation)) + " " + path + (error == 0 ? "" : " fails"));
  return error == 0 ? std::nullopt : std::optional(failure(error));
}

FileStatus SimDisk::read(const std::string& path, std::string& content) {
  content.clear();
  if (const auto failed = begin(Operation::read, path)) return *failed;
  const auto found = names_.find(path);
  if (found == names_.end()) return failure(ENOENT);
  content = found->second->content;
  return {};
}

FileStatus SimDisk::create(const std::string& path, Handle& handle) {
  handle = -1;
  if (const auto failed = begin(Operation::create, path)) return *failed;
  if (!directories_.contains(directoryOf(path))) return failure(ENOENT);
  if (names_.contains(path) || directories_.contains(path)) return failure(EEXIST);
  auto file = std::make_shared<File>();
  change({{}, path, file});
  handle = nextHandle_++;
  handles_.emplace(handle, OpenFile{std::move(file), path});
  return {};
}

FileStatus SimDisk::write(Handle handle, std::string_view content) {
  const auto open = handles_.find(handle);
  if (open == handles_.end()) return failure(EBADF);
  const auto failed = begin(Operation::write, open->second.path);
  if (stopped_) return *failed;
  if (failed) content = content.substr(0, random_.below(content.size() + 1));
  open->second.file->content.append(content);
  return failed.value_or(FileStatus{});
}

FileStatus SimDisk::flush(Handle handle) {
  const auto open = handles_.find(handle);
  if (open == handles_.end()) return failure(EBADF);
  if (const auto failed = begin(Operation::flush, open->second.path)) return *failed;
  open->second.file->durable = open->second.file->content;
  return {};
}

FileStatus SimDisk::close(Handle handle) {
  const auto open = handles_.extract(handle);
  if (open.empty()) return failure(EBADF);
  return begin(Operation::close, open.mapped().path).value_or(FileStatus{});
}

FileStatus SimDisk::rename(const std::string& from, const std::string& to) {
  if (const auto failed = begin(Operation::rename, to)) return *failed;
  const auto found = names_.find(from);
  if (found == names_.end() || !directories_.contains(directoryOf(to))) return failure(ENOENT);
  if (directories_.contains(to)) return failure(EISDIR);
  change({from, to, found->second});
  return {};
}

FileStatus SimDisk::remove(const std::string& path) {
  if (const auto failed = begin(Operation::remove, path)) return *failed;
  const auto found = names_.find(path);
  if (found == names_.end()) return failure(ENOENT);
  change({path, {}, found->second});
  return {};
}

FileStatus SimDisk::flushDirectory(const std::string& path) {
  if (const auto failed = begin(Operation::flushDirectory, path)) return *failed;
  if (!directories_.contains(path)) return failure(ENOENT);
  for (const NameChange& change : std::exchange(pending_[path], {})) change.applyTo(durableNames_);
  return {};
}

SimDisk::Locked SimDisk::lock(const std::string&, std::unique_ptr<platform::FileLock>& lock) {
  if (lockAnswer == Locked::held) lock = std::make_unique<platform::FileLock>();
  return lockAnswer;
}

void SimDisk::NameChange::applyTo(Names& names) const {
  // Where an earlier change did not happen, the old name may be another file's.
  if (const auto found = names.find(from); found != names.end() && found->second == file) names.erase(found);
  if (!to.empty()) names[to] = file;
}

void SimDisk::change(NameChange change) {
  change.applyTo(names_);
  pending_[directoryOf(change.to.empty() ? change.from : change.to)].push_back(std::move(change));
}

void SimDisk::put(const std::string& path, std::string content) {
  directories_.insert(directoryOf(path));
  auto file = std::make_shared<File>(File{content, std::move(content)});
  names_[path] = file;
  durableNames_[path] = std::move(file);
}

std::optional<std::string> SimDisk::content(const std::string& path) const {
  const auto found = names_.find(path);
  return found == names_.end() ? std::nullopt : std::optional(found->second->content);
}

std::vector<std::string> SimDisk::paths() const {
  std::vector<std::string> all;
  for (const auto& [path, file] : names_) all.push_back(path);
  return all;
}

DiskImage SimDisk::afterKill() const {
  DiskImage image{{}, directories_};
  for (const auto& [path, file] : names_) image.files[path] = file->content;
  return image;
}

DiskImage SimDisk::afterPowerCut() {
  // All changes of names kept, none, or each by the toss of a coin.
  constexpr double shares[] = {0, 0.5, 1};
  const double share = shares[random_.below(std::size(shares))];
  Names survived = durableNames_;
  for (const auto& [directory, changes] : pending_) {
    for (const NameChange& change : changes) {
      if (random_.chance(share)) change.applyTo(survived);
    }
  }
  DiskImage image{{}, directories_};
  for (const auto& [path, file] : survived) image.files[path] = torn(*file);
  return image;
}

std::string SimDisk::torn(const File& file) {
  if (file.content == file.durable) return file.durable;
  switch (random_.below(4)) {
    case 0:
      return file.durable;
    case 1:
      return file.content;
    case 2:
      return file.content.substr(0, random_.below(file.content.size() + 1));
    default: {
      // The size was durable before the content.
      std::string content = file.content;
      const std::size_t kept = random_.below(content.size() + 1);
      content.replace(kept, std::string::npos, content.size() - kept, '\0');
      return content;
    }
  }
}

}  // namespace qlczephra::sim
