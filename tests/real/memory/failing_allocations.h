// operator new that fails once, on threads of the library or on the caller's.
#pragma once

#include <atomic>

namespace qlczephra::test {

// Allocations that succeed before one fails; negative: none fails (any more).
inline std::atomic<int> libraryAllocationsLeft{-1};              // on threads whose name begins with "qlczephra-"
inline thread_local std::atomic<int> threadAllocationsLeft{-1};  // on this thread

inline thread_local bool isHostsOwn = false;  // allocations on this thread, which do not fail then

}  // namespace qlczephra::test
