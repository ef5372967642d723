// The system's firewall and the product's own, with all profiles and rules that are complete.
#include "policy/enum_names.h"
#include "policy/views.h"

namespace qlczephra::policy {

namespace {

using document::PlainMapView;

namespace path {
constexpr std::string_view enabled = "macos.firewall.qlcfw_enabled";                // boolean; else false
constexpr std::string_view currentProfileID = "macos.firewall.current_profile_id";  // string; else empty
constexpr std::string_view profiles = "macos.firewall.profiles";      // list of profile objects; else empty
constexpr std::string_view systemEnabled = "macos.firewall.enabled";  // boolean; else false
constexpr std::string_view blockAll = "macos.firewall.system.incoming_connections.block_all";
constexpr std::string_view allowBuiltin = "macos.firewall.system.incoming_connections.allow_builtin";
constexpr std::string_view allowSigned = "macos.firewall.system.incoming_connections.allow_signed";
}  // namespace path

// Where the setting of the same name is no boolean. A computer without any firewall settings is not cut off.
namespace missing {
constexpr bool allowBuiltin = true;
constexpr bool allowSigned = true;
constexpr bool blockAll = false;
}  // namespace missing

namespace member {
// Of a profile object; the profile is left out unless stated otherwise.
constexpr std::string_view identifier = "profile_id";              // string
constexpr std::string_view profileName = "profile_name";           // string
constexpr std::string_view defaultActions = "default_actions";     // map
constexpr std::string_view incoming = "incoming";                  // in it: default-actions object
constexpr std::string_view outgoing = "outgoing";                  // in it: default-actions object
constexpr std::string_view rules = "rules";                        // list of rule objects
constexpr std::string_view validation = "certificate_validation";  // a word; else all; of a rule object too
// Of a default-actions object; the object is not valid unless stated otherwise.
constexpr std::string_view action = "action";               // a word; of a rule object too
constexpr std::string_view allowBuiltin = "allow_builtin";  // boolean
constexpr std::string_view allowSigned = "allow_signed";    // boolean
constexpr std::string_view allowTrusted = "allow_trusted";  // boolean; else false
// Of a rule object; the rule is left out unless stated otherwise.
constexpr std::string_view ruleEnabled = "enabled";         // boolean true
constexpr std::string_view ruleName = "name";               // string
constexpr std::string_view direction = "direction";         // a word
constexpr std::string_view signingIDs = "signing_id_list";  // list of strings
constexpr std::string_view teamIDs = "team_id_list";        // list of strings
constexpr std::string_view descr = "description";           // string; else none
}  // namespace member

constexpr Word<QLCFirewallAction> actions[] = {
    {"allow", QLCFirewallActionAllow},
    {"block", QLCFirewallActionBlock},
};
constexpr Word<QLCFirewallDirection> directions[] = {
    {"in", QLCFirewallDirectionIn},
    {"out", QLCFirewallDirectionOut},
    {"all", QLCFirewallDirectionAll},
};
constexpr Word<QLCFirewallCertificateValidation> validations[] = {
    {"distribution", QLCFirewallCertificateValidationDistribution},
    {"all", QLCFirewallCertificateValidationAll},
    {"per_rule", QLCFirewallCertificateValidationPerRule},
};

QLCFirewallCertificateValidation validationOf(const PlainMapView& object) {
  return valueOfWord(validations, object[member::validation].string()).value_or(QLCFirewallCertificateValidationAll);
}

QLCFirewallRule::Identifiers identifiersIn(const List& strings) {
  QLCFirewallRule::Identifiers result;
  for (const Value& string : strings) result.emplace(*string.string());
  return result;
}

std::optional<QLCFirewallRule> firewallRule(const PlainMapView& object) {
  if (object[member::ruleEnabled].boolean() != true) return std::nullopt;
  const auto name = object[member::ruleName].string();
  const auto action = valueOfWord(actions, object[member::action].string());
  const auto direction = valueOfWord(directions, object[member::direction].string());
  const List* signingIDs = object[member::signingIDs].listOfStrings();
  const List* teamIDs = object[member::teamIDs].listOfStrings();
  if (!name || !action || !direction || signingIDs == nullptr || teamIDs == nullptr) return std::nullopt;
  return QLCFirewallRule(std::string(*name), std::optional<std::string>(object[member::descr].string()), *action,
                         *direction, identifiersIn(*signingIDs), identifiersIn(*teamIDs), validationOf(object));
}

std::optional<QLCFirewallDefaultActions> firewallDefaultActions(const std::optional<PlainMapView>& object) {
  if (!object) return std::nullopt;
  const auto action = valueOfWord(actions, (*object)[member::action].string());
  const auto allowBuiltin = (*object)[member::allowBuiltin].boolean();
  const auto allowSigned = (*object)[member::allowSigned].boolean();
  if (!action || !allowBuiltin || !allowSigned) return std::nullopt;
  return QLCFirewallDefaultActions(*action, *allowBuiltin, *allowSigned,
                                   (*object)[member::allowTrusted].boolean().value_or(false));
}

std::optional<QLCFirewallProfile> firewallProfile(const PlainMapView& object) {
  const auto identifier = object[member::identifier].string();
  const auto name = object[member::profileName].string();
  const auto defaults = object[member::defaultActions].map();
  const List* ruleObjects = object[member::rules].listOfMaps();
  if (!identifier || !name || !defaults || ruleObjects == nullptr) return std::nullopt;
  const auto incoming = firewallDefaultActions((*defaults)[member::incoming].map());
  const auto outgoing = firewallDefaultActions((*defaults)[member::outgoing].map());
  if (!incoming || !outgoing) return std::nullopt;

  std::vector<QLCFirewallRule> rules;
  rules.reserve(ruleObjects->size());
  for (const Value& ruleObject : *ruleObjects) {
    if (auto rule = firewallRule(PlainMapView(*ruleObject.map(), false))) rules.push_back(*std::move(rule));
  }
  return QLCFirewallProfile(std::string(*identifier), std::string(*name), *incoming, *outgoing, validationOf(object),
                            std::move(rules));
}

// By identifier; of equal ones the last wins.
QLCFirewall::Profiles profilesIn(const List* objects) {
  QLCFirewall::Profiles profiles;
  if (objects == nullptr) return profiles;
  for (const Value& object : *objects) {
    auto profile = firewallProfile(PlainMapView(*object.map(), false));
    if (!profile) continue;
    std::string identifier = profile->identifier();
    profiles.insert_or_assign(std::move(identifier), *std::move(profile));
  }
  return profiles;
}

}  // namespace

QLCFirewall firewall(const Settings& settings) {
  const QLCFirewallSystemSettings system(settings[path::systemEnabled].boolean().value_or(false),
                                         settings[path::allowBuiltin].boolean().value_or(missing::allowBuiltin),
                                         settings[path::allowSigned].boolean().value_or(missing::allowSigned),
                                         settings[path::blockAll].boolean().value_or(missing::blockAll));
  return {system, settings[path::enabled].boolean().value_or(false),
          std::string(settings[path::currentProfileID].string().value_or("")),
          profilesIn(settings[path::profiles].listOfMaps())};
}

}  // namespace qlczephra::policy
