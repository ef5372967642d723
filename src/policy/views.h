// The host's policy records from the settings: one pure function for each view, one file for each function. A view that
// finds what it needs missing or of another kind gives none, a default, or leaves the piece out, as its file says; none
// fails. Equal settings give equal records.
//
// The only effect besides the result is a line on standard output for each address that pmProxySettings() rejects.
#pragma once

#include <optional>

#include "policy/settings.h"
#include "qlczephra/policy/browsing_protection.h"
#include "qlczephra/policy/content_categories.h"
#include "qlczephra/policy/firewall.h"
#include "qlczephra/policy/proxy.h"
#include "qlczephra/policy/scheduled_scanning.h"
#include "qlczephra/policy/time_limits.h"

namespace qlczephra::policy {

[[nodiscard]] QLTimeLimits timeLimits(const Settings& settings);
[[nodiscard]] std::optional<QLCurfew> curfew(const Settings& settings);
[[nodiscard]] std::optional<QLQuota> quota(const Settings& settings);
[[nodiscard]] std::optional<QLCBrowsingProtection> browsingProtection(const Settings& settings);
[[nodiscard]] std::optional<QLContentCategories> contentCategories(const Settings& settings);
[[nodiscard]] std::optional<QLCSchedule> schedule(const Settings& settings);
[[nodiscard]] std::optional<QLCPMProxySettings> pmProxySettings(const Settings& settings);
[[nodiscard]] QLCFirewall firewall(const Settings& settings);
[[nodiscard]] std::optional<QLCVORT2Settings> vort2ProxySettings(const Settings& settings);

}  // namespace qlczephra::policy
