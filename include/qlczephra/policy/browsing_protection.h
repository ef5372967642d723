// Which addresses may be visited. Records are plain values, as time_limits.h says.
#pragma once

#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "qlczephra/export.h"

namespace qlczephra {

class QLCZEPHRA_EXPORT QLCBrowsingProtection {
 public:
  QLCBrowsingProtection(std::vector<std::string> whitelist, std::vector<std::string> blacklist)
      : whitelist_(std::move(whitelist)), blacklist_(std::move(blacklist)) {}

  // Addresses that are allowed and that are blocked, as the settings have them and in their order: nothing is
  // normalised, duplicates stay.
  [[nodiscard]] const std::vector<std::string>& whitelist() const& noexcept { return whitelist_; }
  [[nodiscard]] std::vector<std::string> whitelist() && noexcept { return std::move(whitelist_); }
  [[nodiscard]] const std::vector<std::string>& blacklist() const& noexcept { return blacklist_; }
  [[nodiscard]] std::vector<std::string> blacklist() && noexcept { return std::move(blacklist_); }

  // One line with all that the record holds, for logs.
  [[nodiscard]] std::string description() const;
  friend bool operator==(const QLCBrowsingProtection&, const QLCBrowsingProtection&) = default;
  friend std::ostream& operator<<(std::ostream& stream, const QLCBrowsingProtection& protection) {
    return stream << protection.description();
  }

 private:
  std::vector<std::string> whitelist_;
  std::vector<std::string> blacklist_;
};

}  // namespace qlczephra
