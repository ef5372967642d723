#include "pending/pending_files.h"

#include <utility>

#include "platform/planted_bug.h"
#include "platform/replace_file.h"

namespace qlczephra {

using State = PlistFileContent::State;

PendingFiles::PendingFiles(platform::FileStore& files, const SharedText& patchPath, const std::string& sendingPath)
    : files_(files), patchPath_(patchPath) {
  if (sendingPathFor(patchPath.view()) != sendingPath) sendingPath_ = std::make_unique<const std::string>(sendingPath);
}

std::optional<std::string> PendingFiles::sendingPathFor(std::string_view patchPath) {
  constexpr std::string_view ending = ".plist";
  constexpr std::string_view sendingEnding = "-sending.plist";
  std::string result;
  std::size_t from = 0;
  for (std::size_t at = patchPath.find(ending); at != std::string::npos; at = patchPath.find(ending, from)) {
    result.append(patchPath, from, at - from).append(sendingEnding);
    from = at + ending.size();
  }
  if (from == 0) return std::nullopt;
  return result.append(patchPath, from);
}

std::string PendingFiles::sendingPath() const {
  return sendingPath_ != nullptr ? *sendingPath_ : sendingPathFor(patchPath_.view()).value_or("");
}

bool PendingFiles::tryLock(std::vector<std::string>& concerns) {
  if (lock_ != nullptr) return true;
  if (files_.lock(patchPath(), lock_) == platform::FileStore::Locked::elsewhere) return false;
  // Where there can be no lock now, the files are used without one, as by a program that knows of none.
  if (std::exchange(swept_, true)) return true;
  platform::removeStaleReplacements(files_, patchPath());
  platform::removeStaleReplacements(files_, sendingPath());
  static_cast<void>(readSending());  // an earlier process may have moved it there a moment ago
  for (const std::string& path : {patchPath(), sendingPath()}) {
    const std::string concern = files_.concern(path);
    if (concern.empty()) continue;
    concerns.push_back("A file of pending changes is not this process's alone, " + concern);
    break;
  }
  return true;
}

PlistFileContent PendingFiles::read(const std::string& path, Seen& last, bool wentOn) {
  PlistFileContent content = last == nullptr ? readPlistFile(files_, path) : readPlistFile(files_, path, *last);
  if (content.state == State::unavailable) {
    if (last != nullptr) content.map = last->map;
  } else if (content.state == State::missing) {
    last = nullptr;
  } else if (last == nullptr) {
    last = std::make_unique<PlistFileContent>(content);
  } else {
    *last = PlistFileContent(content);  // all of it or nothing
  }
  if (wentOn) content.map = Map();
  return content;
}

PlistFileContent PendingFiles::readSending() {
  const bool wasKnown = lastSending_ != nullptr;
  PlistFileContent content = read(sendingPath(), lastSending_, sendingWentOn_);
  if (!wasKnown && lastSending_ != nullptr) sendingNamesNeedFlush_ = true;
  return content;
}

PendingFiles::Directories PendingFiles::directories() const {
  return {platform::directoryOf(patchPath()), platform::directoryOf(sendingPath())};
}

bool PendingFiles::flushNames(const Directories& directories) noexcept {
  if (isPlanted(PlantedBug::namesNotFlushed)) return true;
  const bool isOne = directories.sending == directories.patch;
  if (namesNeedFlush_ || (sendingNamesNeedFlush_ && isOne)) {
    namesNeedFlush_ = !files_.flushDirectory(directories.patch).ok();
  }
  if (sendingNamesNeedFlush_) {
    sendingNamesNeedFlush_ = isOne ? namesNeedFlush_ : !files_.flushDirectory(directories.sending).ok();
  }
  const bool isFlushed = !namesNeedFlush_ && !sendingNamesNeedFlush_;
  if (isFlushed) moveNeedsFlush_ = false;
  return isFlushed;
}

// True when something else may take the place of the file.
bool PendingFiles::setAsideIfDamaged(const std::string& path, const PlistFileContent& content,
                                     std::vector<std::string>& errors) {
  constexpr int mostKept = 5;
  if (content.state == State::unavailable) return false;
  if (content.state != State::damaged) return true;
  for (int number = 1; number <= mostKept; ++number) {
    const std::string aside = path + ".damaged-" + std::to_string(number);
    std::string ignored;
    if (files_.read(aside, ignored).kind != platform::FileStatus::Kind::missing) continue;
    if (!files_.rename(path, aside).ok()) return false;
    (path == patchPath() ? namesNeedFlush_ : sendingNamesNeedFlush_) = moveNeedsFlush_ = true;
    errors.push_back("A damaged file of pending changes was set aside as " + aside);
    return true;
  }
  errors.push_back("A damaged file of pending changes was dropped, since enough are kept already: " + path);
  return true;
}

PlistFileWritten PendingFiles::write(const std::string& path, const Map& changes, const PlistFileContent& present,
                                     Seen& last, std::vector<std::string>& errors) {
  // Once the file is there, nothing may fail for want of memory any more.
  auto seen = std::make_unique<PlistFileContent>();
  const Directories names = directories();
  if (!setAsideIfDamaged(path, present, errors)) return PlistFileWritten::failed;
  if (moveNeedsFlush_ && !flushNames(names)) return PlistFileWritten::failed;
  std::string bytes;
  const std::string_view unchanged =
      present.state == State::good ? std::string_view(present.bytes) : std::string_view();
  const PlistFileWritten written = writePlistFile(files_, path, changes, unchanged, present.bytes.size(), bytes);
  if (written == PlistFileWritten::unfit || written == PlistFileWritten::failed) return written;
  if (written == PlistFileWritten::done) (&last == &lastSending_ ? sendingNamesNeedFlush_ : namesNeedFlush_) = true;
  if (!flushNames(names)) return PlistFileWritten::failed;
  *seen = {State::good, changes, std::move(bytes)};
  last = std::move(seen);
  return PlistFileWritten::done;
}

PlistFileWritten PendingFiles::writePatch(const Map& changes, const PlistFileContent& present,
                                          std::vector<std::string>& errors) {
  const PlistFileWritten written = write(patchPath(), changes, present, lastPatch_, errors);
  if (written == PlistFileWritten::done) patchWentOn_ = false;
  return written;
}

bool PendingFiles::promotePatch() {
  const Directories names = directories();
  if (!files_.rename(patchPath(), sendingPath()).ok()) return false;
  namesNeedFlush_ = sendingNamesNeedFlush_ = moveNeedsFlush_ = true;
  lastSending_ = std::move(lastPatch_);
  sendingWentOn_ = false;
  // Until the names are flushed a power cut may bring the patch file back under its old name, which loses nothing.
  static_cast<void>(flushNames(names));
  return true;
}

bool PendingFiles::replaceSending(const Map& changes, const PlistFileContent& sending, const PlistFileContent& patch,
                                  std::vector<std::string>& errors) {
  if (isPlanted(PlantedBug::patchRemovedEarly)) static_cast<void>(files_.remove(patchPath()));
  if (isPlanted(PlantedBug::sendingRemovedEarly)) static_cast<void>(files_.remove(sendingPath()));
  if (write(sendingPath(), changes, sending, lastSending_, errors) != PlistFileWritten::done) return false;
  sendingWentOn_ = false;
  if (patch.state == State::missing || !setAsideIfDamaged(patchPath(), patch, errors)) return true;
  removePatch();
  return true;
}

void PendingFiles::removePatch() {
  patchWentOn_ = files_.remove(patchPath()).kind == platform::FileStatus::Kind::unavailable;
  if (patchWentOn_) return;
  namesNeedFlush_ = true;
  lastPatch_ = nullptr;
}

void PendingFiles::removeSending() {
  sendingWentOn_ = files_.remove(sendingPath()).kind == platform::FileStatus::Kind::unavailable;
  if (sendingWentOn_) return;
  sendingNamesNeedFlush_ = true;
  lastSending_ = nullptr;
}

void PendingFiles::removeLeftovers() {
  if (patchWentOn_) removePatch();
  if (sendingWentOn_) removeSending();
}

}  // namespace qlczephra
