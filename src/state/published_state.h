// The settings that all reads of a manager use: one immutable tree, replaced whole.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "platform/mutex.h"
#include "platform/platform.h"
#include "qlczephra/value.h"
#include "state/hazard.h"

namespace qlczephra {

struct Revision {
  Map tree;
  std::uint64_t number = 0;  // no other revision of any state in this process has or will have it
  Revision* nextReplaced = nullptr;
};

// Reads wait for nothing and write nothing that another thread reads often, so they cost the same however many threads
// read and whether or not somebody publishes. Each read sees one tree from beginning to end.
//
// Thread-safe. Publishers wait for each other; what was published last stays.
class PublishedState {
 public:
  // `platform` outlives the object.
  explicit PublishedState(platform::Platform& platform) : platform_(platform) { useBarrierOf(platform); }
  // No thread may read any more.
  ~PublishedState();
  PublishedState(const PublishedState&) = delete;
  PublishedState& operator=(const PublishedState&) = delete;

  // Replaces the tree, which is freed on this thread as soon as nobody reads it. Throws std::bad_alloc before anything
  // changed.
  void publish(std::optional<Map> tree) QLCZ_EXCLUDES(mutex_) {
    publish(tree ? std::make_unique<Revision>(Revision{*std::move(tree)}) : nullptr);
  }
  // The same with a revision made before. Needs no memory.
  void publish(std::unique_ptr<Revision> next) noexcept QLCZ_EXCLUDES(mutex_);

  // Returns the number of the newest revision; of the present one, but for the moment in which it is being replaced.
  // While it is what a thread found in a revision, that revision is the present one: what was kept of it may be used
  // without a look at the tree. 0 before anything was published.
  [[nodiscard]] std::uint64_t number() const noexcept { return number_.load(std::memory_order_acquire); }

  // Calls `reader` with the present revision, null when there is none, and returns its result. The revision is safe
  // during the call only; `reader` must not read another published state and must not call host code.
  template <typename Reader>
  auto read(Reader&& reader) const {
    const HazardGuard<Revision> guard(revision_);
    return std::forward<Reader>(reader)(static_cast<const Revision*>(guard.get()));
  }

  // Returns a share of the present tree, for work that takes longer.
  [[nodiscard]] std::optional<Map> tree() const {
    return read(
        [](const Revision* revision) { return revision == nullptr ? std::nullopt : std::optional(revision->tree); });
  }

 private:
  // Returns the chain of the replaced revisions that nobody reads.
  [[nodiscard]] Revision* takeUnread() QLCZ_REQUIRES(mutex_);

  platform::Platform& platform_;
  // Rises before the revision of this number is there, and never falls.
  std::atomic<std::uint64_t> number_{0};
  std::atomic<Revision*> revision_{nullptr};
  platform::Mutex mutex_;
  Revision* replaced_ QLCZ_GUARDED_BY(mutex_) = nullptr;  // a chain of those that somebody may read
};

}  // namespace qlczephra
