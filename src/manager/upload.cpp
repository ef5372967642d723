#include "manager/upload.h"

#include <algorithm>
#include <utility>

#include "manager/backoff.h"
#include "manager/pending_changes.h"

namespace qlczephra {

Upload::Upload(std::shared_ptr<PendingChanges> files, std::uint64_t uploadNumber, Map changes)
    : number(uploadNumber), values(std::move(changes)), files_(std::move(files)) {}

Upload::~Upload() {
  files_->claimReturned(number);
}

std::int64_t Upload::waitFor(std::int64_t inRow, std::uint32_t random) const noexcept {
  constexpr std::int64_t unpacedRecoveries = 6;
  return fullJitter(std::max(inRow, recoveries_ - unpacedRecoveries), random);
}

std::int64_t Upload::countBadRequest(std::uint32_t random) noexcept {
  ++badRequestsInRow_;
  mismatchesInRow_ = 0;
  ++recoveries_;
  return waitFor(badRequestsInRow_, random);
}

std::int64_t Upload::countMismatch(std::uint32_t random) noexcept {
  constexpr std::int64_t firstThatWaits = 3;
  ++mismatchesInRow_;
  badRequestsInRow_ = 0;
  ++recoveries_;
  return waitFor(mismatchesInRow_ >= firstThatWaits ? mismatchesInRow_ : 0, random);
}

}  // namespace qlczephra
