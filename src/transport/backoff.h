// Waits with jitter, from a source of random numbers that the caller passes in.
#pragma once

#include <cstdint>

namespace qlczephra {

// The full-jitter wait of the nth attempt: uniform over [0, min(0.1 s * 2^n, 2 h)], in whole seconds, as QLCRetry has
// it.
[[nodiscard]] std::int64_t fullJitter(std::int64_t attempt, std::uint32_t random) noexcept;

// The wait after the nth refusal in a row: uniform over the upper half of [0, min(2 s * 2^(n-1), 2 h)], in whole
// seconds, so that the sum of the waits has a floor: the number of attempts in a span of time is bounded whatever is
// drawn.
[[nodiscard]] std::int64_t refusalWait(std::int64_t refusals, std::uint32_t random) noexcept;

}  // namespace qlczephra
