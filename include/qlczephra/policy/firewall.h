// What the system's firewall and the product's own firewall let through. Records are plain values, as time_limits.h
// says.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "qlczephra/export.h"

namespace qlczephra {

enum QLCFirewallAction : std::int64_t {
  QLCFirewallActionAllow = 0,
  QLCFirewallActionBlock = 1,
};

enum QLCFirewallDirection : std::int64_t {
  QLCFirewallDirectionIn = 0,
  QLCFirewallDirectionOut = 1,
  QLCFirewallDirectionAll = 2,
};

// How the certificate behind a program's signature is checked.
enum QLCFirewallCertificateValidation : std::int64_t {
  QLCFirewallCertificateValidationDistribution = 0,
  QLCFirewallCertificateValidationAll = 1,  // also where the settings name none, or one that is not known
  QLCFirewallCertificateValidationPerRule = 2,
};

// "allow", "block"; "in", "out", "all"; "distribution", "all", "per rule". "unknown" for a value outside the
// enumeration.
[[nodiscard]] QLCZEPHRA_EXPORT std::string_view nameOf(QLCFirewallAction action) noexcept;
[[nodiscard]] QLCZEPHRA_EXPORT std::string_view nameOf(QLCFirewallDirection direction) noexcept;
[[nodiscard]] QLCZEPHRA_EXPORT std::string_view nameOf(QLCFirewallCertificateValidation validation) noexcept;
inline std::ostream& operator<<(std::ostream& stream, QLCFirewallAction action) {
  return stream << nameOf(action);
}
inline std::ostream& operator<<(std::ostream& stream, QLCFirewallDirection direction) {
  return stream << nameOf(direction);
}
inline std::ostream& operator<<(std::ostream& stream, QLCFirewallCertificateValidation validation) {
  return stream << nameOf(validation);
}

// The firewall of the operating system, incoming connections only.
class QLCZEPHRA_EXPORT QLCFirewallSystemSettings {
 public:
  QLCFirewallSystemSettings(bool enabled, bool allowBuiltinsIn, bool allowSignedIn, bool blockAllIn) noexcept
      : enabled_(enabled), allowBuiltinsIn_(allowBuiltinsIn), allowSignedIn_(allowSignedIn), blockAllIn_(blockAllIn) {}

  [[nodiscard]] bool enabled() const noexcept { return enabled_; }
  [[nodiscard]] bool allowBuiltinsIn() const noexcept { return allowBuiltinsIn_; }  // programs of the system
  [[nodiscard]] bool allowSignedIn() const noexcept { return allowSignedIn_; }      // programs with a valid signature
  [[nodiscard]] bool blockAllIn() const noexcept { return blockAllIn_; }

  [[nodiscard]] std::string description() const;
  friend bool operator==(const QLCFirewallSystemSettings&, const QLCFirewallSystemSettings&) noexcept = default;
  friend std::ostream& operator<<(std::ostream& stream, const QLCFirewallSystemSettings& settings) {
    return stream << settings.description();
  }

 private:
  bool enabled_;
  bool allowBuiltinsIn_;
  bool allowSignedIn_;
  bool blockAllIn_;
};

// What happens to a connection that no rule of a profile names.
class QLCZEPHRA_EXPORT QLCFirewallDefaultActions {
 public:
  QLCFirewallDefaultActions(QLCFirewallAction action, bool allowBuiltin, bool allowSigned, bool allowTrusted) noexcept
      : action_(action), allowBuiltin_(allowBuiltin), allowSigned_(allowSigned), allowTrusted_(allowTrusted) {}

  [[nodiscard]] QLCFirewallAction action() const noexcept { return action_; }
  [[nodiscard]] bool allowBuiltin() const noexcept { return allowBuiltin_; }
  [[nodiscard]] bool allowSigned() const noexcept { return allowSigned_; }
  [[nodiscard]] bool allowTrusted() const noexcept { return allowTrusted_; }

  [[nodiscard]] std::string description() const;
  friend bool operator==(const QLCFirewallDefaultActions&, const QLCFirewallDefaultActions&) noexcept = default;
  friend std::ostream& operator<<(std::ostream& stream, const QLCFirewallDefaultActions& actions) {
    return stream << actions.description();
  }

 private:
  QLCFirewallAction action_;
  bool allowBuiltin_;
  bool allowSigned_;
  bool allowTrusted_;
};

// What happens to the connections of the programs with these signatures. Only rules that are enabled become records.
class QLCZEPHRA_EXPORT QLCFirewallRule {
 public:
  using Identifiers = std::set<std::string, std::less<>>;

  QLCFirewallRule(std::string name, std::optional<std::string> descr, QLCFirewallAction action,
                  QLCFirewallDirection direction, Identifiers signingIDs, Identifiers teamIDs,
                  QLCFirewallCertificateValidation certificateValidation)
      : name_(std::move(name)),
        descr_(std::move(descr)),
        action_(action),
        direction_(direction),
        signingIDs_(std::move(signingIDs)),
        teamIDs_(std::move(teamIDs)),
        certificateValidation_(certificateValidation) {}

  [[nodiscard]] const std::string& name() const& noexcept { return name_; }
  [[nodiscard]] std::string name() && noexcept { return std::move(name_); }
  // Text for people.
  [[nodiscard]] const std::optional<std::string>& descr() const& noexcept { return descr_; }
  [[nodiscard]] std::optional<std::string> descr() && noexcept { return std::move(descr_); }
  [[nodiscard]] QLCFirewallAction action() const noexcept { return action_; }
  [[nodiscard]] QLCFirewallDirection direction() const noexcept { return direction_; }
  // Either may be empty.
  [[nodiscard]] const Identifiers& signingIDs() const& noexcept { return signingIDs_; }
  [[nodiscard]] Identifiers signingIDs() && noexcept { return std::move(signingIDs_); }
  [[nodiscard]] const Identifiers& teamIDs() const& noexcept { return teamIDs_; }
  [[nodiscard]] Identifiers teamIDs() && noexcept { return std::move(teamIDs_); }
  [[nodiscard]] QLCFirewallCertificateValidation certificateValidation() const noexcept {
    return certificateValidation_;
  }

  [[nodiscard]] std::string description() const;
  friend bool operator==(const QLCFirewallRule&, const QLCFirewallRule&) = default;
  friend std::ostream& operator<<(std::ostream& stream, const QLCFirewallRule& rule) {
    return stream << rule.description();
  }

 private:
  std::string name_;
  std::optional<std::string> descr_;
  QLCFirewallAction action_;
  QLCFirewallDirection direction_;
  Identifiers signingIDs_;
  Identifiers teamIDs_;
  QLCFirewallCertificateValidation certificateValidation_;
};

class QLCZEPHRA_EXPORT QLCFirewallProfile {
 public:
  QLCFirewallProfile(std::string identifier, std::string name, QLCFirewallDefaultActions defaultActionsIn,
                     QLCFirewallDefaultActions defaultActionsOut,
                     QLCFirewallCertificateValidation certificateValidation, std::vector<QLCFirewallRule> rules)
      : identifier_(std::move(identifier)),
        name_(std::move(name)),
        defaultActionsIn_(defaultActionsIn),
        defaultActionsOut_(defaultActionsOut),
        certificateValidation_(certificateValidation),
        rules_(std::move(rules)) {}

  [[nodiscard]] const std::string& identifier() const& noexcept { return identifier_; }
  [[nodiscard]] std::string identifier() && noexcept { return std::move(identifier_); }
  // Text for people.
  [[nodiscard]] const std::string& name() const& noexcept { return name_; }
  [[nodiscard]] std::string name() && noexcept { return std::move(name_); }
  [[nodiscard]] QLCFirewallDefaultActions defaultActionsIn() const noexcept { return defaultActionsIn_; }
  [[nodiscard]] QLCFirewallDefaultActions defaultActionsOut() const noexcept { return defaultActionsOut_; }
  [[nodiscard]] QLCFirewallCertificateValidation certificateValidation() const noexcept {
    return certificateValidation_;
  }
  // In the order of the settings; may be empty.
  [[nodiscard]] const std::vector<QLCFirewallRule>& rules() const& noexcept { return rules_; }
  [[nodiscard]] std::vector<QLCFirewallRule> rules() && noexcept { return std::move(rules_); }

  [[nodiscard]] std::string description() const;
  friend bool operator==(const QLCFirewallProfile&, const QLCFirewallProfile&) = default;
  friend std::ostream& operator<<(std::ostream& stream, const QLCFirewallProfile& profile) {
    return stream << profile.description();
  }

 private:
  std::string identifier_;
  std::string name_;
  QLCFirewallDefaultActions defaultActionsIn_;
  QLCFirewallDefaultActions defaultActionsOut_;
  QLCFirewallCertificateValidation certificateValidation_;
  std::vector<QLCFirewallRule> rules_;
};

class QLCZEPHRA_EXPORT QLCFirewall {
 public:
  using Profiles = std::map<std::string, QLCFirewallProfile, std::less<>>;  // by identifier

  QLCFirewall(QLCFirewallSystemSettings systemSettings, bool enabled, std::string currentProfileID, Profiles profiles)
      : systemSettings_(systemSettings),
        enabled_(enabled),
        currentProfileID_(std::move(currentProfileID)),
        profiles_(std::move(profiles)) {}

  [[nodiscard]] QLCFirewallSystemSettings systemSettings() const noexcept { return systemSettings_; }
  [[nodiscard]] bool enabled() const noexcept { return enabled_; }  // the product's own firewall
  // May be empty and may name no profile.
  [[nodiscard]] const std::string& currentProfileID() const& noexcept { return currentProfileID_; }
  [[nodiscard]] std::string currentProfileID() && noexcept { return std::move(currentProfileID_); }
  [[nodiscard]] const Profiles& profiles() const& noexcept { return profiles_; }
  [[nodiscard]] Profiles profiles() && noexcept { return std::move(profiles_); }

  // One line with all that the record holds, for logs.
  [[nodiscard]] std::string description() const;
  friend bool operator==(const QLCFirewall&, const QLCFirewall&) = default;
  friend std::ostream& operator<<(std::ostream& stream, const QLCFirewall& firewall) {
    return stream << firewall.description();
  }

 private:
  QLCFirewallSystemSettings systemSettings_;
  bool enabled_;
  std::string currentProfileID_;
  Profiles profiles_;
};

}  // namespace qlczephra
