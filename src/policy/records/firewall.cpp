#include "qlczephra/policy/firewall.h"

#include "policy/records/description.h"

namespace qlczephra {

std::string_view nameOf(QLCFirewallAction action) noexcept {
  switch (action) {
    case QLCFirewallActionAllow:
      return "allow";
    case QLCFirewallActionBlock:
      return "block";
  }
  return "unknown";
}

std::string_view nameOf(QLCFirewallDirection direction) noexcept {
  switch (direction) {
    case QLCFirewallDirectionIn:
      return "in";
    case QLCFirewallDirectionOut:
      return "out";
    case QLCFirewallDirectionAll:
      return "all";
  }
  return "unknown";
}

std::string_view nameOf(QLCFirewallCertificateValidation validation) noexcept {
  switch (validation) {
    case QLCFirewallCertificateValidationDistribution:
      return "distribution";
    case QLCFirewallCertificateValidationAll:
      return "all";
    case QLCFirewallCertificateValidationPerRule:
      return "per rule";
  }
  return "unknown";
}

std::string QLCFirewallSystemSettings::description() const {
  return Description("QLCFirewallSystemSettings")
      .field("enabled", enabled_)
      .field("allowBuiltinsIn", allowBuiltinsIn_)
      .field("allowSignedIn", allowSignedIn_)
      .field("blockAllIn", blockAllIn_)
      .text();
}

std::string QLCFirewallDefaultActions::description() const {
  return Description("QLCFirewallDefaultActions")
      .field("action", action_)
      .field("allowBuiltin", allowBuiltin_)
      .field("allowSigned", allowSigned_)
      .field("allowTrusted", allowTrusted_)
      .text();
}

std::string QLCFirewallRule::description() const {
  return Description("QLCFirewallRule")
      .field("name", name_)
      .field("descr", descr_)
      .field("action", action_)
      .field("direction", direction_)
      .field("signingIDs", signingIDs_)
      .field("teamIDs", teamIDs_)
      .field("certificateValidation", certificateValidation_)
      .text();
}

std::string QLCFirewallProfile::description() const {
  return Description("QLCFirewallProfile")
      .field("identifier", identifier_)
      .field("name", name_)
      .field("defaultActionsIn", defaultActionsIn_)
      .field("defaultActionsOut", defaultActionsOut_)
      .field("certificateValidation", certificateValidation_)
      .field("rules", rules_)
      .text();
}

std::string QLCFirewall::description() const {
  return Description("QLCFirewall")
      .field("systemSettings", systemSettings_)
      .field("enabled", enabled_)
      .field("currentProfileID", currentProfileID_)
      .field("profiles", profiles_)
      .text();
}

}  // namespace qlczephra
