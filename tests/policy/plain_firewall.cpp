#include <vector>

#include "tests/policy/plain_reading.h"
#include "tests/policy/plain_views.h"

namespace qlczephra::test {
namespace {

bool switchAt(const Map& tree, const char* path, bool otherwise) {
  const Value* value = document::valueAt(tree, path);
  return isBoolean(value) ? *value->boolean() : otherwise;
}

std::optional<QLCFirewallAction> plainAction(const Map& object) {
  if (isText(object.find("action"), "allow")) return QLCFirewallActionAllow;
  if (isText(object.find("action"), "block")) return QLCFirewallActionBlock;
  return std::nullopt;
}

QLCFirewallCertificateValidation plainValidation(const Map& object) {
  const Value* word = object.find("certificate_validation");
  if (isText(word, "distribution")) return QLCFirewallCertificateValidationDistribution;
  return isText(word, "per_rule") ? QLCFirewallCertificateValidationPerRule : QLCFirewallCertificateValidationAll;
}

std::optional<QLCFirewallDefaultActions> plainActions(const Map* object) {
  if (object == nullptr || !plainAction(*object)) return std::nullopt;
  const Value* builtin = object->find("allow_builtin");
  const Value* signedOnes = object->find("allow_signed");
  if (!isBoolean(builtin) || !isBoolean(signedOnes)) return std::nullopt;
  return QLCFirewallDefaultActions(*plainAction(*object), *builtin->boolean(), *signedOnes->boolean(),
                                   isTrue(object->find("allow_trusted")));
}

QLCFirewallRule::Identifiers textsOf(const List& list) {
  QLCFirewallRule::Identifiers result;
  for (const Value& element : list) result.insert(text(&element));
  return result;
}

std::optional<QLCFirewallRule> plainRule(const Map& object) {
  const Value* direction = object.find("direction");
  const bool in = isText(direction, "in");
  const bool out = isText(direction, "out");
  const Value* signing = object.find("signing_id_list");
  const Value* teams = object.find("team_id_list");
  if (!isTrue(object.find("enabled")) || !isString(object.find("name")) || !plainAction(object) ||
      !(in || out || isText(direction, "all")) || !areAll(signing, isString) || !areAll(teams, isString)) {
    return std::nullopt;
  }
  std::optional<std::string> description;
  if (isString(object.find("description"))) description = text(object.find("description"));
  return QLCFirewallRule(text(object.find("name")), description, *plainAction(object),
                         in    ? QLCFirewallDirectionIn
                         : out ? QLCFirewallDirectionOut
                               : QLCFirewallDirectionAll,
                         textsOf(*signing->list()), textsOf(*teams->list()), plainValidation(object));
}

std::optional<QLCFirewallProfile> plainProfile(const Map& object) {
  const Map* defaults = mapIn(object, "default_actions");
  const List* ruleObjects = mapsIn(object.find("rules"));
  if (!isString(object.find("profile_id")) || !isString(object.find("profile_name")) || defaults == nullptr ||
      ruleObjects == nullptr) {
    return std::nullopt;
  }
  const auto incoming = plainActions(mapIn(*defaults, "incoming"));
  const auto outgoing = plainActions(mapIn(*defaults, "outgoing"));
  if (!incoming || !outgoing) return std::nullopt;
  std::vector<QLCFirewallRule> rules;
  for (const Value& ruleObject : *ruleObjects) {
    if (const auto rule = plainRule(*ruleObject.map())) rules.push_back(*rule);
  }
  return QLCFirewallProfile(text(object.find("profile_id")), text(object.find("profile_name")), *incoming, *outgoing,
                            plainValidation(object), rules);
}

}  // namespace

QLCFirewall plainFirewall(const Map& tree) {
  QLCFirewall::Profiles profiles;
  if (const List* objects = mapsIn(document::valueAt(tree, "macos.firewall.profiles"))) {
    for (const Value& object : *objects) {
      const auto profile = plainProfile(*object.map());
      if (!profile) continue;
      profiles.erase(profile->identifier());
      profiles.emplace(profile->identifier(), *profile);
    }
  }
  const Value* current = document::valueAt(tree, "macos.firewall.current_profile_id");
  return {QLCFirewallSystemSettings(switchAt(tree, "macos.firewall.enabled", false),
                                    switchAt(tree, "macos.firewall.system.incoming_connections.allow_builtin", true),
                                    switchAt(tree, "macos.firewall.system.incoming_connections.allow_signed", true),
                                    switchAt(tree, "macos.firewall.system.incoming_connections.block_all", false)),
          switchAt(tree, "macos.firewall.qlcfw_enabled", false), isString(current) ? text(current) : "", profiles};
}

}  // namespace qlczephra::test
