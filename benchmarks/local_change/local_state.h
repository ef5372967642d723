// What a manager does in memory for a change of its host; the files are left out.
#pragma once

#include <cstdint>
#include <string_view>
#include <utility>

#include "benchmarks/support/require.h"
#include "document/merge.h"
#include "document/patch.h"
#include "platform/native/native_platform.h"
#include "qlczephra/value.h"
#include "state/published_state.h"
#include "value/counted_map.h"
#include "value/limits.h"

namespace qlczephra::bench {

class LocalState {
 public:
  explicit LocalState(Map tree) : published_(platform::nativePlatform().workers()) {
    published_.publish(std::move(tree));
  }

  // What waits for its upload, as the patch file would hold it.
  void setPending(const Map& pending) {
    if (waiting_.take(pending)) number_ = 0;
  }

  void change(std::string_view path, const Value& value) {
    require(document::whyTooLarge(path, value) == nullptr, "a change is too large");
    const Map change = document::makePatch(path, value);
    // Below and above what the file holds there may be what it could not take.
    const Map before = document::deepMerging(document::deepMerging(Map(), waiting_.map), Map());
    const Map combined = document::deepMerging(before, change);
    const TotalSize size = document::sizeOfMerged(waiting_.size, before, change);
    require(size.values <= limits::pendingValues && size.bytes <= limits::pendingBytes, "too many are pending");
    const auto present = published_.revision();
    const bool liesThere = number_ != 0 && number_ == present->settledPatch;
    const document::PatchedTree settings =
        liesThere ? document::layChange(present->tree, combined, change) : document::layPatch(present->tree, combined);
    waiting_ = {combined, size};
    number_ = ++changes_;
    published_.publishChanged(settings.tree, settings.isSettled ? number_ : 0);
  }

  [[nodiscard]] Map tree() const { return published_.tree().value(); }

 private:
  PublishedState published_;
  CountedMap waiting_;
  std::uint64_t number_ = 0;  // of what waits; 0 when it is not what a change has left
  std::uint64_t changes_ = 0;
};

}  // namespace qlczephra::bench
