// The home of a user's pending changes: the patch file (changes not yet handed to an upload), the sending file (those
// of the upload in flight), the lock over both, and the state of the upload.
//
// One object owns a pair of files; managers of one process that name the same files share it, so that whatever is done
// to the files is done under one lock, and at most one upload is in flight. The same lock serialises the replacement of
// the settings that are made from the files: whoever comes last has everybody's changes in its tree.
//
// A change is accepted when record() has returned: it is then durable in the patch file, or, when the disk failed, kept
// here in memory (`unsaved`) until it can be written or has reached the service.
#pragma once

#include <atomic>
#include <cstdint>
#include <forward_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "pending/pending_files.h"
#include "pending/upload.h"
#include "platform/mutex.h"
#include "platform/platform.h"
#include "qlczephra/value.h"
#include "state/shared_text.h"

namespace qlczephra {

class PendingChanges;

// A manager that can send what is pending.
class ChangesSender {
 public:
  virtual ~ChangesSender() = default;
  // Sends what waits in `changes` unless an upload is in flight; returns at once. False when the manager is gone, or
  // has other files by now.
  virtual bool sendPending(const PendingChanges& changes) = 0;
};

class PendingChanges : public std::enable_shared_from_this<PendingChanges> {
  struct OfItself {};

 public:
  // What is to be laid over the service's values, lowest first.
  struct Layers {
    Map confirmed;  // of the ticket
    Map sending;
    Map patch;
  };

  // Marks the moment at which a settings document was asked for, and collects what the service confirms after it.
  struct Ticket {
    Map confirmed;  // guarded by the patch lock
  };

  // The object for a patch file, one for all managers on this platform that name it, by whatever path. A relative path
  // is one from the present working directory. For an unset path, or one that leaves no other name for the sending
  // file, an object of its own that has no files and takes no changes.
  [[nodiscard]] static std::shared_ptr<PendingChanges> at(platform::Platform& platform,
                                                          const SharedText& patchFilePath);
  // For at().
  PendingChanges(OfItself, platform::Platform& platform, SharedText path,
                 const std::optional<std::string>& sendingPath);
  ~PendingChanges();
  PendingChanges(const PendingChanges&) = delete;
  PendingChanges& operator=(const PendingChanges&) = delete;

  // The patch lock. Not re-entrant; held for file work and merging only, never while host code runs, a line is logged
  // or the network is waited for.
  [[nodiscard]] platform::Mutex& patchLock() noexcept QLCZ_THREAD_ANNOTATION(lock_returned(patchLock_)) {
    return patchLock_;
  }

  // False for the object of an unset path.
  [[nodiscard]] bool hasFiles() const noexcept { return hasFiles_; }

  // Whom to ask to go on when the manager that sent is gone. Held weakly.
  void addSender(const std::shared_ptr<ChangesSender>& sender) QLCZ_EXCLUDES(patchLock_);

  // Whether this process may change the files, see PendingFiles::tryLock(). False without files.
  [[nodiscard]] bool tryLock(std::vector<std::string>& errors) QLCZ_REQUIRES(patchLock_) {
    return files_ && files_->tryLock(errors);
  }

  // A change that is about to be recorded.
  struct Recording {
    Map change;
    Map patch;              // the whole patch map with the change, to be laid over the settings
    Map unsaved;            // what is to be kept in memory if the disk fails
    PlistFileContent file;  // the patch file as it is
  };
  // Returns what is to be recorded for a change; nullopt, and a line among the errors, when it is refused: another
  // process has the files, or too much is pending.
  [[nodiscard]] std::optional<Recording> prepare(const Map& change, std::vector<std::string>& errors)
      QLCZ_REQUIRES(patchLock_);
  // Makes it the patch file; under the hold of the lock in which it was prepared. The change is accepted. Throws
  // std::bad_alloc before anything changed.
  void record(const Recording& recording, std::vector<std::string>& errors) QLCZ_REQUIRES(patchLock_);

  // Uploads stand still for `seconds`, after which pauseIsOver() is to be called with `number`.
  struct Pause {
    std::int64_t seconds;
    std::uint64_t number;
  };
  struct Start {
    std::shared_ptr<Upload> upload;  // null when nothing waits, an upload is in flight, or uploads are paused
    std::optional<Pause> pause;      // a pause that began now, because the files could not be used
  };
  // Moves all that waits into the sending file and claims the upload of it for `sender`.
  [[nodiscard]] Start startUpload(const ChangesSender& sender, std::vector<std::string>& errors)
      QLCZ_REQUIRES(patchLock_);
  // Returns whether an upload is still its sender's to go on with, which it then does.
  [[nodiscard]] bool keepUpload(const Upload& upload) QLCZ_EXCLUDES(patchLock_);
  // The sender's host has not answered for long: lets another sender, now or later, upload in its place.
  void offerUpload(const Upload& upload, const ChangesSender& sender) QLCZ_EXCLUDES(patchLock_);
  // The service has the changes of `upload`.
  void confirm(const Upload& upload) QLCZ_REQUIRES(patchLock_);
  // The upload ended with an error; its changes stay pending.
  [[nodiscard]] std::optional<Pause> refuse(const Upload& upload) QLCZ_REQUIRES(patchLock_);
  // Returns the number of the pause that uploads make; 0 when they make none. Waits for nothing.
  [[nodiscard]] std::uint64_t presentPause() const noexcept { return presentPause_.load(); }
  // Ends the pause with that number and has what waits sent; without effect for another pause's number and for 0.
  void pauseIsOver(std::uint64_t number) QLCZ_EXCLUDES(patchLock_);

  // There was no memory to go on with an upload or a pause: what waits is sent with the next change or resume(). Needs
  // no memory.
  void giveUp() noexcept { isGivenUp_ = true; }
  // Ends the present pause, if there is one, and has sent what waits because of it or of giveUp().
  void resume() noexcept QLCZ_EXCLUDES(patchLock_);

  // To be taken just before the document is asked for, and kept until layers() was called for it.
  [[nodiscard]] std::shared_ptr<const Ticket> takeTicket() QLCZ_EXCLUDES(patchLock_);
  [[nodiscard]] Layers layers(const Ticket& since) QLCZ_REQUIRES(patchLock_);

  // Called by ~Upload with its number, perhaps with locks held; has what waits sent by another manager, unless the
  // outcome of the upload is known. Returns at once.
  void claimReturned(std::uint64_t upload);

 private:
  enum class State : std::uint8_t { idle, inFlight, paused };
  struct Registry;

  // Makes `toSend`, or as much of it as the disk allows, the sending file. None when nothing can be sent now.
  [[nodiscard]] std::optional<Map> prepareSending(const PlistFileContent& sending, const PlistFileContent& patch,
                                                  std::vector<std::string>& errors) QLCZ_REQUIRES(patchLock_);
  [[nodiscard]] Pause beginPause() QLCZ_REQUIRES(patchLock_);
  // Asks one of the senders but `without` to send; gives up without memory for it.
  void askSenders(const ChangesSender* without = nullptr) noexcept QLCZ_EXCLUDES(patchLock_);
  [[nodiscard]] bool mayStart(const ChangesSender& sender) const QLCZ_REQUIRES(patchLock_);
  void complainOnce(std::vector<std::string>& errors) noexcept QLCZ_REQUIRES(patchLock_);

  platform::Mutex patchLock_;
  platform::Platform& platform_;
  const SharedText path_;  // of the patch file, the one name of it
  std::optional<PendingFiles> files_ QLCZ_GUARDED_BY(patchLock_);
  std::forward_list<std::weak_ptr<ChangesSender>> senders_ QLCZ_GUARDED_BY(patchLock_);

  const bool hasFiles_;
  bool outage_ QLCZ_GUARDED_BY(patchLock_) = false;
  bool isElsewhere_ QLCZ_GUARDED_BY(patchLock_) = false;  // another process has the files, and that was told
  State state_ QLCZ_GUARDED_BY(patchLock_) = State::idle;
  std::uint64_t uploads_ QLCZ_GUARDED_BY(patchLock_) = 0;                // the number of the last one
  const ChangesSender* uploader_ QLCZ_GUARDED_BY(patchLock_) = nullptr;  // of the last one; only to be compared
  bool isOffered_ QLCZ_GUARDED_BY(patchLock_) = false;                   // the upload in flight, to other senders
  std::atomic<bool> isGivenUp_{false};                                   // see giveUp()
  std::atomic<std::uint64_t> returnedUpload_{0};  // the last one whose claim came back without an outcome
  std::uint64_t pauses_ QLCZ_GUARDED_BY(patchLock_) = 0;
  std::atomic<std::uint64_t> presentPause_{0};  // written under the patch lock
  std::int64_t refusalsInRow_ QLCZ_GUARDED_BY(patchLock_) = 0;

  // Changes that are in no file because the disk failed: those that wait, newer than the patch file; and those that
  // were handed to an upload and not confirmed yet, newer than the sending file and older than the patch file.
  Map unsaved_ QLCZ_GUARDED_BY(patchLock_);
  Map unsavedSending_ QLCZ_GUARDED_BY(patchLock_);

  std::forward_list<std::weak_ptr<Ticket>> tickets_ QLCZ_GUARDED_BY(patchLock_);
};

}  // namespace qlczephra
