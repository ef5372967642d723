#include "pending/upload.h"

#include <algorithm>
#include <utility>

#include "pending/pending_changes.h"
#include "transport/backoff.h"

namespace qlczephra {

Upload::Upload(std::shared_ptr<PendingChanges> files, std::uint64_t uploadNumber, Map changes)
    : number(uploadNumber), values(std::move(changes)), files_(std::move(files)) {}

Upload::~Upload() {
  files_->claimReturned(number);
}

std::int64_t Upload::atLeastPaced(std::int64_t wait, std::int64_t inRow, std::uint32_t random) const noexcept {
  constexpr std::int64_t unpaced = 5;
  const std::int64_t mixed = recoveries_ - inRow - unpaced;
  return mixed > 0 ? std::max(wait, refusalWait(mixed, random)) : wait;
}

std::int64_t Upload::countBadRequest(std::uint32_t random) noexcept {
  ++badRequestsInRow_;
  mismatchesInRow_ = 0;
  ++recoveries_;
  return atLeastPaced(fullJitter(badRequestsInRow_, random), badRequestsInRow_, random);
}

std::int64_t Upload::countMismatch(std::uint32_t random) noexcept {
  constexpr std::int64_t firstThatWaits = 3;
  ++mismatchesInRow_;
  badRequestsInRow_ = 0;
  ++recoveries_;
  const std::int64_t wait = mismatchesInRow_ >= firstThatWaits ? fullJitter(mismatchesInRow_, random) : 0;
  return atLeastPaced(wait, mismatchesInRow_, random);
}

}  // namespace qlczephra
