// Faults that the simulation's tests plant on purpose, to see that they would be found. In every build but theirs
// isPlanted() is false at compile time and no code is left of them.
//
// Here and not in the manager's folder, since the replacement of files has one too.
#pragma once

#include <cstdint>
#ifdef QLCZEPHRA_PLANTED_BUGS
#include <functional>
#endif

namespace qlczephra {

enum class PlantedBug : std::uint8_t {
  none,
  patchRemovedEarly,      // the patch file goes before the sending file is complete
  lockReleased,           // another writer gets in between the reading and the writing of the patch file
  sendingRemovedEarly,    // the sending file goes before the one that replaces it is there
  staleReplyApplied,      // a document puts back what was confirmed after it was asked for
  flushMissing,           // a new file takes its name before its content is durable
  namesNotFlushed,        // a file's name is relied on before it is durable
  failedUploadForgotten,  // an upload that ends with an error counts as confirmed
  secondUpload,           // an upload starts although one is in flight
};

#ifdef QLCZEPHRA_PLANTED_BUGS
inline PlantedBug plantedBug = PlantedBug::none;
// Called where `lockReleased` lets go of the lock.
inline std::function<void()> whileLockIsReleased;

inline bool isPlanted(PlantedBug bug) noexcept {
  return bug == plantedBug;
}
#else
constexpr bool isPlanted(PlantedBug) noexcept {
  return false;
}
#endif

}  // namespace qlczephra
