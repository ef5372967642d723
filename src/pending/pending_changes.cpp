#include "pending/pending_changes.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <functional>
#include <iterator>
#include <new>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "document/merge.h"
#include "platform/planted_bug.h"
#include "platform/plist/plist.h"
#include "platform/replace_file.h"
#include "transport/backoff.h"
#include "value/limits.h"
#include "value/value_size.h"

namespace qlczephra {

using document::deepMerging;
using FileState = PlistFileContent::State;

// ---- one object for a pair of files

// All objects that have files, by platform and path. Lives as long as the process.
struct PendingChanges::Registry {
  struct Key {
    const platform::Platform* platform;
    std::string_view path;
    bool operator==(const Key&) const = default;
  };
  static Key keyOf(const PendingChanges* changes) { return {&changes->platform_, changes->path_.view()}; }
  static const Key& keyOf(const Key& key) { return key; }

  struct Hash {
    using is_transparent = void;
    std::size_t operator()(const auto& object) const {
      const Key& key = keyOf(object);
      return std::hash<std::string_view>()(key.path) ^ std::hash<const void*>()(key.platform);
    }
  };
  struct Equal {
    using is_transparent = void;
    bool operator()(const auto& left, const auto& right) const { return keyOf(left) == keyOf(right); }
  };

  platform::Mutex mutex;
  std::unordered_set<PendingChanges*, Hash, Equal> objects QLCZ_GUARDED_BY(mutex);

  static Registry& instance() {
    static Registry& registry = *new Registry;
    return registry;
  }
};

namespace {

// Without memory to tell, it counts as one that can.
bool canBeStored(const Map& change) noexcept try {
  return plist::write(Value(change)).has_value();
} catch (const std::exception&) {
  return true;
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

// The same for one that stands, as a rule, in the directory of another, which is looked for in the file system once.
std::string uniquePathBeside(const std::string& path, const std::string& other, const std::string& uniqueOther) {
  if (platform::directoryOf(path) != platform::directoryOf(other)) return uniquePath(path);
  return uniqueOther.substr(0, uniqueOther.rfind('/') + 1) + path.substr(path.rfind('/') + 1);
}

}  // namespace

std::shared_ptr<PendingChanges> PendingChanges::at(platform::Platform& platform, const SharedText& patchFilePath) {
  const std::optional<std::string> given = patchFilePath.text();
  const std::optional<std::string> sending = given ? PendingFiles::sendingPathFor(*given) : std::nullopt;
  if (!sending) return std::make_shared<PendingChanges>(OfItself(), platform, SharedText(), std::nullopt);

  SharedText path(uniquePath(*given));
  if (path == patchFilePath) path = patchFilePath;  // one text for both
  std::shared_ptr<PendingChanges> made;             // goes after the lock, which its destructor takes
  Registry& all = Registry::instance();
  const platform::MutexLock lock(all.mutex);
  if (const auto known = all.objects.find(Registry::Key{&platform, path.view()}); known != all.objects.end()) {
    if (auto shared = (*known)->weak_from_this().lock()) return shared;
    all.objects.erase(known);  // its destructor waits for the lock
  }
  made = std::make_shared<PendingChanges>(OfItself(), platform, path,
                                          uniquePathBeside(*sending, *given, std::string(path.view())));
  all.objects.insert(made.get());
  return made;
}

PendingChanges::PendingChanges(OfItself, platform::Platform& platform, SharedText path,
                               const std::optional<std::string>& sendingPath)
    : platform_(platform), path_(std::move(path)), hasFiles_(sendingPath.has_value()) {
  if (sendingPath) files_.emplace(platform.files(), path_, *sendingPath);
}

PendingChanges::~PendingChanges() {
  if (!hasFiles_) return;
  Registry& all = Registry::instance();
  const platform::MutexLock lock(all.mutex);
  const auto known = all.objects.find(this);
  if (known != all.objects.end() && *known == this) all.objects.erase(known);
}

// ---- who sends

void PendingChanges::addSender(const std::shared_ptr<ChangesSender>& sender) {
  const platform::MutexLock lock(patchLock_);
  auto last = senders_.before_begin();
  for (auto next = senders_.begin(); next != senders_.end(); next = std::next(last)) {
    const auto known = next->lock();
    if (known == sender) return;
    if (known == nullptr) {
      senders_.erase_after(last);
    } else {
      last = next;
    }
  }
  senders_.insert_after(last, sender);
}

void PendingChanges::askSenders(const ChangesSender* without) noexcept try {
  std::forward_list<std::weak_ptr<ChangesSender>> senders;
  {
    const platform::MutexLock lock(patchLock_);
    senders = senders_;
  }
  for (const auto& weak : senders) {
    const auto sender = weak.lock();
    if (sender != nullptr && sender.get() != without && sender->sendPending(*this)) return;
  }
} catch (const std::exception&) {
  giveUp();
}

// ---- changes

void PendingChanges::complainOnce(std::vector<std::string>& errors) noexcept try {
  if (outage_) return;
  errors.push_back("The files of pending changes cannot be used, changes are kept in memory: " + files_->patchPath());
  outage_ = true;
} catch (const std::exception&) {
}

std::optional<PendingChanges::Recording> PendingChanges::prepare(const Map& change, std::vector<std::string>& errors) {
  if (!files_) return std::nullopt;
  if (!files_->tryLock(errors)) {
    errors.push_back("Another process has the files of pending changes, change refused: " + files_->patchPath());
    return std::nullopt;
  }
  PlistFileContent patch = files_->readPatch();
#ifdef QLCZEPHRA_PLANTED_BUGS
  if (isPlanted(PlantedBug::lockReleased) && whileLockIsReleased) {
    patchLock_.unlock();
    whileLockIsReleased();
    patchLock_.lock();
  }
#endif
  // What an upload that failed could not have saved either is older than the patch file.
  const Map older = state_ == State::inFlight ? Map() : unsavedSending_;
  Map combined = deepMerging(deepMerging(deepMerging(older, patch.map), unsaved_), change);
  const ValueSize waiting = valueSizeOf(combined);
  const ValueSize sent = valueSizeOf(deepMerging(files_->lastSending(), unsavedSending_));
  if (waiting.values + sent.values > limits::pendingValues || waiting.bytes + sent.bytes > limits::pendingBytes) {
    errors.push_back("Too many changes are pending, change refused: " + files_->patchPath());
    return std::nullopt;
  }
  return Recording{change, std::move(combined), deepMerging(unsaved_, change), std::move(patch)};
}

void PendingChanges::record(const Recording& recording, std::vector<std::string>& errors) {
  PlistFileWritten written = recording.file.state == FileState::unavailable
                                 ? PlistFileWritten::failed
                                 : files_->writePatch(recording.patch, recording.file, errors);
  // A change that no file will ever hold must not wait with those that will be written once the disk is well.
  if (written == PlistFileWritten::failed && !canBeStored(recording.change)) written = PlistFileWritten::unfit;
  switch (written) {
    case PlistFileWritten::done:
    case PlistFileWritten::unchanged:  // counts as done there
      unsaved_ = Map();
      if (state_ != State::inFlight) unsavedSending_ = Map();
      outage_ = false;
      break;
    case PlistFileWritten::failed:
      unsaved_ = recording.unsaved;
      complainOnce(errors);
      break;
    case PlistFileWritten::unfit:
      // Applied and not uploaded; what waited before stays as it was.
      break;
  }
}

// ---- uploads

std::optional<Map> PendingChanges::prepareSending(const PlistFileContent& sending, const PlistFileContent& patch,
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

bool PendingChanges::mayStart(const ChangesSender& sender) const {
  if (state_ == State::idle || isPlanted(PlantedBug::secondUpload)) return true;
  if (state_ == State::paused) return isGivenUp_;  // its timer may be missing
  return returnedUpload_ == uploads_ || (isOffered_ && uploader_ != &sender);
}

PendingChanges::Start PendingChanges::startUpload(const ChangesSender& sender, std::vector<std::string>& errors) {
  if (!files_ || !mayStart(sender)) return {};
  isGivenUp_ = false;
  if (!files_->tryLock(errors)) {
    if (!std::exchange(isElsewhere_, true)) {
      errors.push_back("Another process has the files of pending changes, nothing is sent: " + files_->patchPath());
    }
    return {};
  }
  isElsewhere_ = false;
  files_->removeLeftovers();
  const PlistFileContent sending = files_->readSending();
  const PlistFileContent patch = files_->readPatch();
  std::optional<Map> toSend;
  if (sending.state == FileState::unavailable || patch.state == FileState::unavailable) {
    complainOnce(errors);
  } else {
    toSend = prepareSending(sending, patch, errors);
  }
  if (!toSend) return {nullptr, beginPause()};
  if (toSend->empty()) return {};
  auto upload = std::make_shared<Upload>(shared_from_this(), uploads_ + 1, *std::move(toSend));
  ++uploads_;
  state_ = State::inFlight;
  presentPause_ = 0;
  uploader_ = &sender;
  isOffered_ = false;
  return {std::move(upload), std::nullopt};
}

bool PendingChanges::keepUpload(const Upload& upload) {
  const platform::MutexLock lock(patchLock_);
  if (state_ != State::inFlight || upload.number != uploads_) return false;
  isOffered_ = false;
  return true;
}

void PendingChanges::offerUpload(const Upload& upload, const ChangesSender& sender) {
  {
    const platform::MutexLock lock(patchLock_);
    if (state_ != State::inFlight || upload.number != uploads_) return;
    isOffered_ = true;
  }
  askSenders(&sender);
}

void PendingChanges::confirm(const Upload& upload) {
  if (state_ != State::inFlight || upload.number != uploads_) return;
  for (const auto& weak : tickets_) {
    if (const auto ticket = weak.lock()) ticket->confirmed = deepMerging(ticket->confirmed, upload.values);
  }
  files_->removeSending();
  unsavedSending_ = Map();
  state_ = State::idle;
  refusalsInRow_ = 0;
}

PendingChanges::Pause PendingChanges::beginPause() {
  state_ = State::paused;
  presentPause_ = ++pauses_;
  return {refusalWait(++refusalsInRow_, platform_.secureRandom()), pauses_};
}

std::optional<PendingChanges::Pause> PendingChanges::refuse(const Upload& upload) {
  if (state_ != State::inFlight || upload.number != uploads_) return std::nullopt;
  return beginPause();
}

void PendingChanges::pauseIsOver(std::uint64_t number) {
  {
    const platform::MutexLock lock(patchLock_);
    if (number == 0 || number != presentPause_) return;
    state_ = State::idle;
    presentPause_ = 0;
  }
  askSenders();
}

void PendingChanges::resume() noexcept {
  {
    const platform::MutexLock lock(patchLock_);
    if (!isGivenUp_.exchange(false) && state_ != State::paused) return;
    if (state_ == State::paused || returnedUpload_ == uploads_) state_ = State::idle;
    presentPause_ = 0;
  }
  askSenders();
}

void PendingChanges::claimReturned(std::uint64_t upload) {
  returnedUpload_ = upload;
  // On a worker: the last holder may be a host that lets its manager go, and it must not wait for the lock. Without the
  // memory for it the next change or document sends what waits.
  try {
    platform_.workers().post([self = shared_from_this(), upload] {
      {
        const platform::MutexLock lock(self->patchLock_);
        if (self->state_ != State::inFlight || upload != self->uploads_) return;
        self->state_ = State::idle;
      }
      self->askSenders();
    });
  } catch (const std::exception&) {
    giveUp();
  }
}

// ---- documents

std::shared_ptr<const PendingChanges::Ticket> PendingChanges::takeTicket() {
  auto ticket = std::make_shared<Ticket>();
  const platform::MutexLock lock(patchLock_);
  std::erase_if(tickets_, [](const auto& known) { return known.expired(); });
  tickets_.push_front(ticket);
  return ticket;
}

PendingChanges::Layers PendingChanges::layers(const Ticket& since) {
  if (!files_) return {};
  const Map confirmed = isPlanted(PlantedBug::staleReplyApplied) ? Map() : since.confirmed;
  return {confirmed, deepMerging(files_->readSending().map, unsavedSending_),
          deepMerging(files_->readPatch().map, unsaved_)};
}

}  // namespace qlczephra
