// Which calls of a simulated disk fail, and with what.
#pragma once

#include <cerrno>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "sim/random.h"

namespace qlczephra::sim {

struct DiskCall {
  enum class Operation : std::uint8_t { read, create, write, flush, close, rename, remove, flushDirectory };
  std::uint64_t number = 0;  // 1 for the first call of the process
  Operation operation = Operation::read;
  std::string path;  // of a rename, where the file goes

  [[nodiscard]] bool takesSpace() const noexcept {
    return operation == Operation::create || operation == Operation::write;
  }
};

[[nodiscard]] std::string_view nameOf(DiskCall::Operation operation) noexcept;

// All that is set counts; errors are errno values.
struct DiskFaults {
  bool full = false;                                // calls that take space fail with ENOSPC
  double probability = 0;                           // of any call: ENOSPC where it takes space, or EIO
  std::map<std::uint64_t, int> numbered;            // call number to error
  std::function<int(const DiskCall& call)> chosen;  // 0: the call is left alone

  // The error of a call, 0 for none.
  [[nodiscard]] int errorOf(const DiskCall& call, Random& random) const;
};

}  // namespace qlczephra::sim
