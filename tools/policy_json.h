// Policy records as JSON: fields under the names of their accessors, enumerations as the names of their values, what is
// unset as null. A time range is {"from", "until"}, a firewall's profiles stand under their identifiers.
#pragma once

#include "qlczephra/qlczephra.h"

namespace qlczephra::tools {

[[nodiscard]] Value asJson(const QLTimeLimits& limits);
[[nodiscard]] Value asJson(const QLCurfew& curfew);
[[nodiscard]] Value asJson(const QLQuota& quota);
[[nodiscard]] Value asJson(const QLCBrowsingProtection& protection);
[[nodiscard]] Value asJson(const QLContentCategories& categories);
[[nodiscard]] Value asJson(const QLCSchedule& schedule);
[[nodiscard]] Value asJson(const QLCPMProxySettings& settings);
[[nodiscard]] Value asJson(const QLCFirewall& firewall);
[[nodiscard]] Value asJson(const QLCVORT2Settings& settings);

template <typename Record>
[[nodiscard]] Value asJson(const std::optional<Record>& record) {
  return record ? asJson(*record) : Value();
}

}  // namespace qlczephra::tools
