#include "manager/pending_files.h"

#include <algorithm>
#include <utility>

#include "platform/planted_bug.h"
#include "platform/replace_file.h"

namespace qlczephra {

using State = MapFileContent::State;

PendingFiles::PendingFiles(platform::FileStore& files, std::string patchPath, std::string sendingPath)
    : files_(files),
      patchPath_(std::move(patchPath)),
      sendingPath_(std::move(sendingPath)),
      directories_{platform::directoryOf(patchPath_)} {
  const std::string other = platform::directoryOf(sendingPath_);
  if (other != directories_.front()) directories_.push_back(other);
}

bool PendingFiles::own(std::vector<std::string>& concerns) {
  if (lock_ != nullptr) return true;
  if (files_.lock(patchPath_, lock_) == platform::FileStore::Locked::elsewhere) return false;
  // Where there can be no lock now, the files are used without one, as by a program that knows of none.
  if (std::exchange(swept_, true)) return true;
  platform::removeStaleReplacements(files_, patchPath_);
  platform::removeStaleReplacements(files_, sendingPath_);
  for (const std::string& path : {patchPath_, sendingPath_}) {
    const std::string concern = files_.concern(path);
    if (concern.empty()) continue;
    concerns.push_back("A file of pending changes is not this process's alone, " + concern);
    break;
  }
  return true;
}

MapFileContent PendingFiles::read(const std::string& path, MapFileContent& last, bool wentOn) {
  MapFileContent content = readMapFile(files_, path, last);
  if (content.state == State::unavailable) {
    content.map = last.map;
  } else {
    last = content;
  }
  if (wentOn) content.map = Map();
  return content;
}

bool PendingFiles::flushNames() {
  if (isPlanted(PlantedBug::namesNotFlushed)) return true;
  if (namesNeedFlush_) {
    namesNeedFlush_ = !std::all_of(directories_.begin(), directories_.end(), [this](const std::string& directory) {
      return files_.flushDirectory(directory).ok();
    });
  }
  if (!namesNeedFlush_) moveNeedsFlush_ = false;
  return !namesNeedFlush_;
}

// True when something else may take the place of the file.
bool PendingFiles::setAsideIfDamaged(const std::string& path, const MapFileContent& content,
                                     std::vector<std::string>& errors) {
  constexpr int mostKept = 5;
  if (content.state == State::unavailable) return false;
  if (content.state != State::damaged) return true;
  for (int number = 1; number <= mostKept; ++number) {
    const std::string aside = path + ".damaged-" + std::to_string(number);
    std::string ignored;
    if (files_.read(aside, ignored).kind != platform::FileStatus::Kind::missing) continue;
    if (!files_.rename(path, aside).ok()) return false;
    namesNeedFlush_ = moveNeedsFlush_ = true;
    errors.push_back("A damaged file of pending changes was set aside as " + aside);
    return true;
  }
  errors.push_back("A damaged file of pending changes was dropped, since enough are kept already: " + path);
  return true;
}

MapFileWritten PendingFiles::write(const std::string& path, const Map& changes, const MapFileContent& present,
                                   MapFileContent& last, std::vector<std::string>& errors) {
  if (!setAsideIfDamaged(path, present, errors)) return MapFileWritten::failed;
  if (moveNeedsFlush_ && !flushNames()) return MapFileWritten::failed;
  std::string bytes;
  const std::string_view unchanged =
      present.state == State::good ? std::string_view(present.bytes) : std::string_view();
  const MapFileWritten written = writeMapFile(files_, path, changes, unchanged, present.bytes.size(), bytes);
  if (written == MapFileWritten::unfit || written == MapFileWritten::failed) return written;
  if (written == MapFileWritten::done) namesNeedFlush_ = true;
  if (!flushNames()) return MapFileWritten::failed;
  last = {State::good, changes, std::move(bytes)};
  return MapFileWritten::done;
}

MapFileWritten PendingFiles::writePatch(const Map& changes, const MapFileContent& present,
                                        std::vector<std::string>& errors) {
  const MapFileWritten written = write(patchPath_, changes, present, lastPatch_, errors);
  if (written == MapFileWritten::done) patchWentOn_ = false;
  return written;
}

bool PendingFiles::promotePatch() {
  if (!files_.rename(patchPath_, sendingPath_).ok()) return false;
  namesNeedFlush_ = moveNeedsFlush_ = true;
  lastSending_ = std::exchange(lastPatch_, {});
  sendingWentOn_ = false;
  // Until the names are flushed a power cut may bring the patch file back under its old name, which loses nothing.
  static_cast<void>(flushNames());
  return true;
}

bool PendingFiles::replaceSending(const Map& changes, const MapFileContent& sending, const MapFileContent& patch,
                                  std::vector<std::string>& errors) {
  if (isPlanted(PlantedBug::patchRemovedEarly)) static_cast<void>(files_.remove(patchPath_));
  if (isPlanted(PlantedBug::sendingRemovedEarly)) static_cast<void>(files_.remove(sendingPath_));
  if (write(sendingPath_, changes, sending, lastSending_, errors) != MapFileWritten::done) return false;
  sendingWentOn_ = false;
  if (patch.state == State::missing || !setAsideIfDamaged(patchPath_, patch, errors)) return true;
  removePatch();
  return true;
}

void PendingFiles::removePatch() {
  patchWentOn_ = files_.remove(patchPath_).kind == platform::FileStatus::Kind::unavailable;
  if (patchWentOn_) return;
  namesNeedFlush_ = true;
  lastPatch_ = {};
}

void PendingFiles::removeSending() {
  sendingWentOn_ = files_.remove(sendingPath_).kind == platform::FileStatus::Kind::unavailable;
  if (sendingWentOn_) return;
  namesNeedFlush_ = true;
  lastSending_ = {};
}

void PendingFiles::removeLeftovers() {
  if (patchWentOn_) removePatch();
  if (sendingWentOn_) removeSending();
}

}  // namespace qlczephra
