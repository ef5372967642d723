// The memory that this thread's objects hold.
#pragma once

#include <cstddef>

namespace qlczephra::bench {

// Of all blocks that this thread allocated less those it freed, as the allocator cuts them, its own word included.
[[nodiscard]] std::size_t heapOfThread() noexcept;

}  // namespace qlczephra::bench
