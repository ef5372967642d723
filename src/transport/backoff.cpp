#include "transport/backoff.h"

#include <algorithm>
#include <cmath>

#include "qlczephra/retry.h"

namespace qlczephra {

namespace {

// In [0, 1], both ends included.
double share(std::uint32_t random) noexcept {
  return static_cast<double>(random) / 4294967295.0;
}

}  // namespace

std::int64_t fullJitter(std::int64_t attempt, std::uint32_t random) noexcept {
  const double cap =
      std::min(QLCRetry::BASE_TIME * std::exp2(static_cast<double>(attempt)), QLCRetry::MAX_BACKOFF_TIME);
  return static_cast<std::int64_t>(share(random) * cap);
}

std::int64_t refusalWait(std::int64_t refusals, std::uint32_t random) noexcept {
  const double cap = std::min(std::exp2(static_cast<double>(refusals)), QLCRetry::MAX_BACKOFF_TIME);
  return static_cast<std::int64_t>(std::ceil((0.5 + share(random) / 2) * cap));
}

}  // namespace qlczephra
