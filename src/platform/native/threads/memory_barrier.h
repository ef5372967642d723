// A memory barrier on all threads of the process (membarrier(2)).
#pragma once

namespace qlczephra::platform {

// Makes every thread of the process pass a full memory barrier. Returns false where the kernel refuses it.
bool barrierOnAllThreads() noexcept;

}  // namespace qlczephra::platform
