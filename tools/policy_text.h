// Policy records for people: the first line says what matters most, the others stand below it.
#pragma once

#include "qlczephra/qlczephra.h"
#include "tools/text_table.h"

namespace qlczephra::tools {

[[nodiscard]] Lines asText(const QLTimeLimits& limits);
[[nodiscard]] Lines asText(const QLCurfew& curfew);
[[nodiscard]] Lines asText(const QLQuota& quota);
[[nodiscard]] Lines asText(const QLCBrowsingProtection& protection);
[[nodiscard]] Lines asText(const QLContentCategories& categories);
[[nodiscard]] Lines asText(const QLCSchedule& schedule);
[[nodiscard]] Lines asText(const QLCPMProxySettings& settings);
[[nodiscard]] Lines asText(const QLCFirewall& firewall);
[[nodiscard]] Lines asText(const QLCVORT2Settings& settings);

template <typename Record>
[[nodiscard]] Lines asText(const std::optional<Record>& record) {
  return record ? asText(*record) : Lines{"none"};
}

}  // namespace qlczephra::tools
