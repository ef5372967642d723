// Quota and curfew under the master switch.
#include "policy/views.h"

namespace qlczephra::policy {

namespace {

namespace path {
constexpr std::string_view enabled = "common.time.enabled";  // boolean; else false
}  // namespace path

}  // namespace

QLTimeLimits timeLimits(const Settings& settings) {
  QLTimeLimits limits{quota(settings), curfew(settings)};
  limits.setIsEnabled(settings[path::enabled].boolean().value_or(false));
  return limits;
}

}  // namespace qlczephra::policy
