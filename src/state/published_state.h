// The settings that all reads of a manager use: one immutable tree, replaced whole.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <utility>

#include "platform/hazard.h"
#include "platform/queue.h"
#include "qlczephra/value.h"

namespace qlczephra {

struct Revision {
  Map tree;
  std::uint64_t number;        // no other revision of any state in this process has or will have it; never 0
  std::uint64_t settledPatch;  // of the patch map that lies over the tree for good, see PendingChanges::Recorded; or 0
};

// Reads wait for nothing and write nothing that another thread reads often, so they cost the same however many threads
// read and whether or not somebody publishes. Each read sees one tree from beginning to end.
//
// publish() and all reads may be called from any thread; who publishes what first is for the callers to settle. Of two
// trees that are published at the same moment, the one stays whose revision has the higher number.
class PublishedState {
 public:
  // `workers` frees large trees that were replaced and outlives the object.
  explicit PublishedState(platform::WorkerQueue& workers) : workers_(workers) {}
  ~PublishedState();
  PublishedState(const PublishedState&) = delete;
  PublishedState& operator=(const PublishedState&) = delete;

  void publish(std::optional<Map> tree);
  // A tree that differs from the present one in few places and shares the rest; `settledPatch` as in Revision.
  void publishChanged(Map tree, std::uint64_t settledPatch);

  // The number of the newest revision; of the present one, but for the moment in which it is being replaced. While it
  // is what a thread found in a revision, and kept with its number, that revision is the present one: so it may be used
  // without a look at the tree. 0 before anything was published.
  [[nodiscard]] std::uint64_t number() const noexcept { return number_.load(std::memory_order_acquire); }

  // Calls `reader` with the present revision, null when there is none, and gives its result. The revision is safe
  // during the call only; `reader` must not read another published state and must not call host code.
  template <typename Reader>
  auto read(Reader&& reader) const {
    const platform::HazardGuard<const Revision> guard(revision_);
    return std::forward<Reader>(reader)(guard.get());
  }

  // A share of the present tree, for work that takes longer.
  [[nodiscard]] std::optional<Map> tree() const {
    return read(
        [](const Revision* revision) { return revision == nullptr ? std::nullopt : std::optional(revision->tree); });
  }
  [[nodiscard]] std::optional<Revision> revision() const {
    return read([](const Revision* revision) { return revision == nullptr ? std::nullopt : std::optional(*revision); });
  }

 private:
  // Gives what is to be freed: the revision that was replaced, or `next` itself if a newer one is there.
  const Revision* replace(const Revision* next, std::uint64_t number);

  // Rises before the revision of this number is there, and never falls.
  std::atomic<std::uint64_t> number_{0};
  std::atomic<const Revision*> revision_{nullptr};
  platform::WorkerQueue& workers_;
};

}  // namespace qlczephra
