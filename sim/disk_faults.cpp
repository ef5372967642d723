#include "sim/disk_faults.h"

#include <array>

namespace qlczephra::sim {

std::string_view nameOf(DiskCall::Operation operation) noexcept {
  constexpr std::array<std::string_view, 8> names = {"read",  "create", "write",  "flush",
                                                     "close", "rename", "remove", "flush directory"};
  return names[static_cast<std::size_t>(operation)];
}

int DiskFaults::errorOf(const DiskCall& call, Random& random) const {
  if (full && call.takesSpace()) return ENOSPC;
  if (const auto found = numbered.find(call.number); found != numbered.end()) return found->second;
  if (const int error = chosen ? chosen(call) : 0; error != 0) return error;
  if (!random.chance(probability)) return 0;
  return call.takesSpace() && random.chance(0.5) ? ENOSPC : EIO;
}

}  // namespace qlczephra::sim
