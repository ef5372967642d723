// How often this thread has asked for memory.
#pragma once

#include <cstddef>

namespace qlczephra::bench {

[[nodiscard]] std::size_t allocationsOfThread() noexcept;

}  // namespace qlczephra::bench
