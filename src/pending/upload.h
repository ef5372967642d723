// One upload of pending changes, from its start until its outcome is known, repetitions included.
#pragma once

#include <cstdint>
#include <memory>

#include "qlczephra/value.h"

namespace qlczephra {

class PendingChanges;

// The claim on a pair of files that makes an upload the only one in flight. The manager that sends holds it, and so
// does each transfer while it runs; everything that waits (for a token, a URL, a back-off) holds it weakly. When the
// last holder is gone and no outcome was reported, the claim goes back to the files, whose changes are then sent again.
//
// Used by one step of the upload at a time; `values` never changes.
class Upload {
 public:
  Upload(std::shared_ptr<PendingChanges> files, std::uint64_t number, Map values);
  ~Upload();
  Upload(const Upload&) = delete;
  Upload& operator=(const Upload&) = delete;

  const std::uint64_t number;  // among the uploads of these files
  const Map values;            // the patch map that is sent

  // Counts a reply from which the upload recovers by fetching the settings (400, 412) and gives the seconds to wait
  // after that fetch; `random` draws the jitter.
  [[nodiscard]] std::int64_t countBadRequest(std::uint32_t random) noexcept;
  [[nodiscard]] std::int64_t countMismatch(std::uint32_t random) noexcept;
  // Counts a reply that is repeated for another reason: what comes in a row begins anew.
  void countOther() noexcept { badRequestsInRow_ = mismatchesInRow_ = 0; }
  // Whether so many replies of 400 came in a row that the upload ends with `badRequest`.
  [[nodiscard]] bool badRequestsExhausted() const noexcept { return badRequestsInRow_ >= 50; }

 private:
  // A service that answers with a mixture would never be waited for if only rows counted, and by the luck of a jitter
  // that may be nothing too rarely.
  [[nodiscard]] std::int64_t atLeastPaced(std::int64_t wait, std::int64_t inRow, std::uint32_t random) const noexcept;

  const std::shared_ptr<PendingChanges> files_;
  std::int64_t badRequestsInRow_ = 0;
  std::int64_t mismatchesInRow_ = 0;
  std::int64_t recoveries_ = 0;
};

}  // namespace qlczephra
