#include "manager/pending_changes.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <map>
#include <new>
#include <string_view>
#include <utility>

#include "document/merge.h"
#include "document/patch_map.h"
#include "manager/backoff.h"
#include "platform/planted_bug.h"
#include "platform/plist/plist.h"
#include "value/limits.h"

namespace qlczephra {

using document::deepMerging;
using FileState = MapFileContent::State;

// ---- one object for a pair of files

namespace {

// All objects that have files, by platform and path. Lives as long as the process.
struct Registry {
  using Key = std::pair<platform::Platform*, std::string>;
  platform::Mutex mutex;
  std::map<Key, std::weak_ptr<PendingChanges>> objects QLCZ_GUARDED_BY(mutex);
  std::size_t sweepAt QLCZ_GUARDED_BY(mutex) = 64;
};

Registry& registry() {
  static Registry& instance = *new Registry;
  return instance;
}

// The one name of a file, whatever the working directory is later and whichever links lead to its directory. A link in
// the file's own place is not followed.
std::string uniquePath(const std::string& path) {
  std::error_code failed;  // then the path is taken as it stands
  const std::filesystem::path absolute = std::filesystem::absolute(path, failed);
  if (failed) return path;
  const std::filesystem::path directory = std::filesystem::weakly_canonical(absolute.parent_path(), failed);
  return (failed ? absolute : directory / absolute.filename()).string();
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
  const auto make = [&](std::optional<PendingFiles> files) {
    return std::shared_ptr<PendingChanges>(new PendingChanges(platform, std::move(files)));
  };
  std::optional<std::string> sending = patchFilePath ? sendingFilePath(*patchFilePath) : std::nullopt;
  if (!sending) return make(std::nullopt);

  const std::string path = uniquePath(*patchFilePath);
  Registry& all = registry();
  const platform::MutexLock lock(all.mutex);
  // Not each time: with thousands of users that would be thousands of looks for each new one.
  if (all.objects.size() >= all.sweepAt) {
    std::erase_if(all.objects, [](const auto& entry) { return entry.second.expired(); });
    all.sweepAt = std::max<std::size_t>(64, 2 * all.objects.size());
  }
  std::weak_ptr<PendingChanges>& known = all.objects[{&platform, path}];
  if (auto shared = known.lock()) return shared;
  auto made = make(PendingFiles(platform.files(), path, uniquePath(*sending)));
  known = made;
  return made;
}

PendingChanges::PendingChanges(platform::Platform& platform, std::optional<PendingFiles> files)
    : platform_(platform), files_(std::move(files)), hasFiles_(files_.has_value()) {}

// ---- who sends

void PendingChanges::addSender(const std::shared_ptr<ChangesSender>& sender) {
  const platform::MutexLock lock(patchLock_);
  bool isKnown = false;
  std::erase_if(senders_, [&](const auto& weak) {
    const auto known = weak.lock();
    isKnown = isKnown || known == sender;
    return known == nullptr;
  });
  if (!isKnown) senders_.push_back(sender);
}

void PendingChanges::askSenders() {
  std::vector<std::weak_ptr<ChangesSender>> senders;
  {
    const platform::MutexLock lock(patchLock_);
    senders = senders_;
  }
  for (const auto& weak : senders) {
    const auto sender = weak.lock();
    if (sender != nullptr && sender->sendPending(*this)) return;
  }
}

// ---- changes

namespace {

std::uint64_t nextNumber() noexcept {
  static std::atomic<std::uint64_t> last{0};
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

}  // namespace

void PendingChanges::complainOnce(std::vector<std::string>& errors) {
  if (std::exchange(outage_, true)) return;
  errors.push_back("The files of pending changes cannot be used, changes are kept in memory: " + files_->patchPath());
}

std::optional<PendingChanges::Recorded> PendingChanges::record(const Map& change, std::vector<std::string>& errors) {
  if (!files_) return std::nullopt;
  if (!files_->own(errors)) {
    errors.push_back("Another process has the files of pending changes, change refused: " + files_->patchPath());
    return std::nullopt;
  }
  const MapFileContent patch = files_->readPatch();
#ifdef QLCZEPHRA_PLANTED_BUGS
  if (isPlanted(PlantedBug::lockReleased) && whileLockIsReleased) {
    patchLock_.unlock();
    whileLockIsReleased();
    patchLock_.lock();
  }
#endif
  // What an upload that failed could not have saved either is older than the patch file.
  const Map older = state_ == State::inFlight ? Map() : unsavedSending_;
  const Map before = deepMerging(deepMerging(older, patch.map), unsaved_);
  const Map combined = deepMerging(before, change);
  if (counted_ == nullptr) counted_ = std::make_unique<Counted>();
  if (counted_->waiting.take(before)) counted_->number = 0;
  counted_->sent.take(deepMerging(files_->lastSending(), unsavedSending_));
  const Bulk waiting = document::bulkOfMerged(counted_->waiting.bulk, before, change);
  const Bulk sent = counted_->sent.bulk;
  if (waiting.values + sent.values > limits::pendingValues || waiting.bytes + sent.bytes > limits::pendingBytes) {
    errors.push_back("Too many changes are pending, change refused: " + files_->patchPath());
    return std::nullopt;
  }
  MapFileWritten written =
      patch.state == FileState::unavailable ? MapFileWritten::failed : files_->writePatch(combined, patch, errors);
  // A change that no file will ever hold must not wait with those that will be written once the disk is well.
  if (written == MapFileWritten::failed && !plist::write(Value(change))) written = MapFileWritten::unfit;
  switch (written) {
    case MapFileWritten::done:
    case MapFileWritten::unchanged:  // counts as done there
      unsaved_ = Map();
      if (state_ != State::inFlight) unsavedSending_ = Map();
      outage_ = false;
      break;
    case MapFileWritten::failed:
      unsaved_ = deepMerging(unsaved_, change);
      complainOnce(errors);
      break;
    case MapFileWritten::unfit:
      // Applied and not uploaded; what waited before stays as it was.
      break;
  }
  const Recorded recorded{combined, nextNumber(), counted_->number};
  counted_->waiting = {combined, waiting};
  counted_->number = recorded.number;
  return recorded;
}

// ---- uploads

std::optional<Map> PendingChanges::prepareSending(const MapFileContent& sending, const MapFileContent& patch,
                                                  std::vector<std::string>& errors) {
  const Map waiting = deepMerging(patch.map, unsaved_);
  if (waiting.empty() && unsavedSending_.empty()) return sending.map;
  const Map sentBefore = deepMerging(sending.map, unsavedSending_);
  Map toSend = deepMerging(sentBefore, waiting);
  const bool allInPatchFile = sending.state == FileState::missing && unsavedSending_.empty() && unsaved_.empty();
  if (allInPatchFile && files_->promotePatch()) return toSend;
  if (files_->replaceSending(toSend, sending, patch, errors)) {
    unsavedSending_ = Map();
    unsaved_ = Map();
    outage_ = false;
    return toSend;
  }

  // The disk is full or worse. What is sent must not leave an older value of the same setting waiting in a file, or
  // that would be sent last: so what was sent before goes alone when there is any, and else everything at once.
  complainOnce(errors);
  if (!sentBefore.empty()) return sentBefore;
  const bool patchIsOutOfTheWay = patch.map.empty() || (sending.state == FileState::missing && files_->promotePatch());
  if (!patchIsOutOfTheWay) return std::nullopt;
  unsavedSending_ = std::exchange(unsaved_, Map());
  return toSend;
}

PendingChanges::Start PendingChanges::startUpload(std::vector<std::string>& errors) {
  if (!files_ || (state_ != State::idle && !isPlanted(PlantedBug::secondUpload))) return {};
  if (!files_->own(errors)) {
    if (!std::exchange(isElsewhere_, true)) {
      errors.push_back("Another process has the files of pending changes, nothing is sent: " + files_->patchPath());
    }
    return {};
  }
  isElsewhere_ = false;
  files_->removeLeftovers();
  const MapFileContent sending = files_->readSending();
  const MapFileContent patch = files_->readPatch();
  std::optional<Map> toSend;
  if (sending.state == FileState::unavailable || patch.state == FileState::unavailable) {
    complainOnce(errors);
  } else {
    toSend = prepareSending(sending, patch, errors);
  }
  if (!toSend) return {nullptr, beginPause()};
  if (toSend->empty()) return {};
  counted_ = nullptr;
  state_ = State::inFlight;
  return {std::make_shared<Upload>(shared_from_this(), ++uploads_, *std::move(toSend)), std::nullopt};
}

void PendingChanges::confirm(const Upload& upload) {
  if (state_ != State::inFlight || upload.number != uploads_) return;
  files_->removeSending();
  unsavedSending_ = Map();
  counted_ = nullptr;
  state_ = State::idle;
  refusalsInRow_ = 0;
  for (const auto& weak : tickets_) {
    if (const auto ticket = weak.lock()) ticket->confirmed = deepMerging(ticket->confirmed, upload.values);
  }
}

PendingChanges::Pause PendingChanges::beginPause() {
  state_ = State::paused;
  return {refusalWait(++refusalsInRow_, platform_.secureRandom()), ++pauses_};
}

std::optional<PendingChanges::Pause> PendingChanges::refuse(const Upload& upload) {
  if (state_ != State::inFlight || upload.number != uploads_) return std::nullopt;
  return beginPause();
}

void PendingChanges::pauseIsOver(std::optional<std::uint64_t> number) {
  {
    const platform::MutexLock lock(patchLock_);
    if (state_ != State::paused || (number && *number != pauses_)) return;
    state_ = State::idle;
  }
  askSenders();
}

void PendingChanges::claimReturned(std::uint64_t upload) {
  // On a worker: the last holder may be a host that lets its manager go, and it must not wait for the lock. Without the
  // memory for it the changes wait for the next process.
  try {
    platform_.workers().post([self = shared_from_this(), upload] {
      {
        const platform::MutexLock lock(self->patchLock_);
        if (self->state_ != State::inFlight || upload != self->uploads_) return;
        self->state_ = State::idle;
      }
      self->askSenders();
    });
  } catch (const std::bad_alloc&) {
  }
}

// ---- documents

std::shared_ptr<const PendingChanges::Ticket> PendingChanges::takeTicket() {
  auto ticket = std::make_shared<Ticket>();
  const platform::MutexLock lock(patchLock_);
  std::erase_if(tickets_, [](const auto& known) { return known.expired(); });
  tickets_.push_back(ticket);
  return ticket;
}

PendingChanges::Layers PendingChanges::layers(const Ticket& since) {
  if (!files_) return {};
  const Map confirmed = isPlanted(PlantedBug::staleReplyApplied) ? Map() : since.confirmed;
  return {confirmed, deepMerging(files_->readSending().map, unsavedSending_),
          deepMerging(files_->readPatch().map, unsaved_)};
}

}  // namespace qlczephra
