// The last steps: what a host acts on, and how it follows the settings.
#include "tools/demo/policy_steps.h"

#include "tools/policy_text.h"

namespace qlczephra::tools::demo {
namespace {

template <typename Record>
void tell(const char* name, const Record& record) {
  Lines lines = asText(record);
  lines.front() = std::string(name) + ": " + lines.front();
  for (const std::string& line : lines) show(line);
}

}  // namespace

void showPolicy(World& world) {
  const QLCZephraManager& manager = world.manager();
  claim(manager.currentSettings().has_value(), "the manager has settings");
  tell("timeLimits", manager.timeLimits());
  tell("browsingProtection", manager.browsingProtection());
  tell("contentCategories", manager.contentCategories());
  tell("schedule", manager.schedule());
  tell("pmProxySettings", manager.pmProxySettings());
  tell("firewall", manager.firewall());
  tell("vort2ProxySettings", manager.vort2ProxySettings());

  claim(manager.schedule() && manager.schedule()->days(), "there is a weekly scan");
  claim(manager.firewall().profiles().size() == 3, "all three firewall profiles are complete");
  const QLCFirewall firewall = manager.firewall();
  claim(firewall.profiles().contains(firewall.currentProfileID()), "the current profile is one of them");
  claim(firewall.profiles().at("home").rules().size() == 2, "a rule that is disabled is none");
  claim(manager.browsingProtection() && manager.contentCategories(), "web filtering is on");
  claim(manager.pmProxySettings() && manager.vort2ProxySettings(), "both proxies are known");
}

void changePolicy(World& world) {
  constexpr const char* enabled = "common.time.curfew.enabled";
  constexpr const char* ranges = "common.time.curfew.monday.ranges";
  QLCZephraManager& manager = world.manager();
  manager.setBoolValue(enabled, true);
  const std::optional<QLCurfew> before = manager.curfew();
  claim(before && before->days().size() == 7, "a curfew holds on every day");

  manager.setBoolValue(enabled, false);
  show(std::string(enabled) + " is set to false");
  tell("curfew", manager.curfew());
  claim(!manager.curfew() && !manager.timeLimits().curfew(), "a curfew that is off is none, at once");

  manager.setBoolValue(enabled, true);
  manager.setObjectValue(ranges, List{Map{{"from", 0}, {"until", 420}}});
  show(std::string(enabled) + " is set to true, " + ranges + " to another range");
  const std::optional<QLCurfew> after = manager.curfew();
  tell("curfew", after);
  claim(after && *after->days().front().ranges == std::vector{TimeRange::between(0, 420)}, "Monday has the new range");
  claim(before->days().front() != after->days().front() && before->days().back() == after->days().back(),
        "a record that was handed out stays as it was, and the other days are the same in both");
}

}  // namespace qlczephra::tools::demo
