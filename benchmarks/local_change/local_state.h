// What a manager does in memory for a change of its host; the files are left out.
#pragma once

#include <string_view>
#include <utility>

#include "benchmarks/support/require.h"
#include "document/merge.h"
#include "document/patch_map.h"
#include "manager/published_state.h"
#include "platform/native/native_platform.h"
#include "qlczephra/value.h"
#include "value/extent.h"
#include "value/limits.h"

namespace qlczephra::bench {

class LocalState {
 public:
  explicit LocalState(Map tree) : published_(platform::nativePlatform().workers()) {
    published_.publish(std::move(tree));
  }

  // What waits for its upload, as the patch file would hold it.
  void setPending(Map pending) { pending_ = std::move(pending); }

  void change(std::string_view path, const Value& value) {
    require(document::whyTooLarge(path, value) == nullptr, "a change is too large");
    const Map change = document::makePatch(path, value);
    // Below and above what the file holds there may be what it could not take.
    Map combined = document::deepMerging(document::deepMerging(document::deepMerging(Map(), pending_), Map()), change);
    const Extent waiting = extentOf(combined);
    require(waiting.values <= limits::pendingValues && waiting.bytes <= limits::pendingBytes, "too many are pending");
    published_.publish(document::applyPatch(*published_.tree(), combined));
    pending_ = std::move(combined);
  }

  [[nodiscard]] Map tree() const { return published_.tree().value(); }
  [[nodiscard]] const Map& pending() const { return pending_; }

 private:
  PublishedState published_;
  Map pending_;
};

}  // namespace qlczephra::bench
