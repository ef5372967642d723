// What a story came to, as the service sees it.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace qlczephra::fleet {

struct Second {
  std::uint32_t requests = 0;
  std::uint32_t refused = 0;
  std::uint32_t recovered = 0;  // clients: the first success since the trouble ended
};

struct Report {
  std::vector<Second> seconds;
  std::uint32_t clients = 0;
  std::uint64_t wholeDocuments = 0;
  std::uint64_t notModified = 0;
  std::uint64_t gaveUp = 0;
  std::int64_t longestWait = 0;  // seconds

  // The most requests in one second from `begin` on and before `end`.
  [[nodiscard]] std::uint32_t peak(std::uint32_t begin, std::uint32_t end) const;
  [[nodiscard]] std::uint64_t requests() const;
  [[nodiscard]] std::uint64_t refused() const;
  // The second by whose end this share of the clients has recovered; none if it never has.
  [[nodiscard]] std::optional<std::uint32_t> recoveredBy(double share) const;
};

}  // namespace qlczephra::fleet
