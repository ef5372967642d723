// What some views make of settings, read a second time as plainly as their rules are written: over copies, name by
// name, with none of the views' own tables and tools.
#pragma once

#include <cstddef>
#include <optional>

#include "qlczephra/policy/firewall.h"
#include "qlczephra/policy/proxy.h"
#include "qlczephra/policy/scheduled_scanning.h"
#include "qlczephra/value.h"

namespace qlczephra::test {

[[nodiscard]] std::optional<QLCSchedule> plainSchedule(const Map& tree);
[[nodiscard]] std::optional<QLCVORT2Settings> plainVort2(const Map& tree);
// Counts the addresses without a host that are looked at.
[[nodiscard]] std::optional<QLCPMProxySettings> plainPm(const Map& tree, std::size_t& rejected);
[[nodiscard]] QLCFirewall plainFirewall(const Map& tree);

}  // namespace qlczephra::test
