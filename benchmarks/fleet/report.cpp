#include "benchmarks/fleet/report.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace qlczephra::fleet {

std::uint32_t Report::peak(std::uint32_t begin, std::uint32_t end) const {
  std::uint32_t most = 0;
  for (std::size_t second = begin; second < std::min<std::size_t>(end, seconds.size()); ++second) {
    most = std::max(most, seconds[second].requests);
  }
  return most;
}

std::uint64_t Report::requests() const {
  std::uint64_t sum = 0;
  for (const Second& second : seconds) sum += second.requests;
  return sum;
}

std::uint64_t Report::refused() const {
  std::uint64_t sum = 0;
  for (const Second& second : seconds) sum += second.refused;
  return sum;
}

std::optional<std::uint32_t> Report::recoveredBy(double share) const {
  const auto wanted = static_cast<std::uint64_t>(std::ceil(share * clients));
  std::uint64_t recovered = 0;
  for (std::uint32_t second = 0; second < seconds.size(); ++second) {
    recovered += seconds[second].recovered;
    if (recovered >= wanted) return second;
  }
  return std::nullopt;
}

}  // namespace qlczephra::fleet
