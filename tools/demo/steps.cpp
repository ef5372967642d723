#include <sys/stat.h>

#include <chrono>
#include <numeric>

#include "platform/json/json.h"
#include "tools/demo/change_steps.h"
#include "tools/demo/policy_steps.h"
#include "tools/demo/story.h"
#include "tools/input.h"

namespace qlczephra::tools::demo {
namespace {

std::string text(const Value& value) {
  return json::write(value).value_or("?");
}

service::LoggedRequest lastRequest(World& world) {
  const auto entries = world.service().log().entries();
  claim(!entries.empty(), "the service was asked");
  return entries.back();
}

void fetchFromService(World& world) {
  world.startService();
  world.startManager();
  show("service: " + world.url());
  world.fetch();

  claim(world.service().log().count() == 1, "one request was made");
  const auto request = lastRequest(world);
  showRequest(request);
  claim(request.status == 200, "the service sent its document");
  claim(!service::findHeader(request.request.headers, "If-None-Match"), "a first fetch is unconditional");
  for (const auto [section, node] : world.manager().currentSettings().value_or(Map())) {
    const auto names = world.manager().getProperties(section);
    claim(names && !names->empty(), "every section has settings");
    std::string line = std::string(section) + ":";
    for (const std::string& name : *names) line += " " + name;
    show(line);
  }
}

void readSettings(World& world) {
  const QLCZephraManager& manager = world.manager();
  const auto curfew = manager.getBoolValue("common.time.curfew.enabled");
  claim(curfew == true, "the curfew is on");
  show("boolean    common.time.curfew.enabled = " + text(*curfew));

  const auto quota = manager.getNumberValue("common.time.quota.friday.duration");
  claim(quota == 150, "Friday's quota is 150");
  show("number     common.time.quota.friday.duration = " + text(*quota));

  const auto profile = manager.getStringValue("macos.firewall.current_profile_id");
  claim(profile == "office", "the firewall's profile is \"office\"");
  show("string     macos.firewall.current_profile_id = " + text(*profile));

  const auto start = manager.getFlattenedDict("macos.scheduled_scanning.start_time");
  claim(start == Map{{"hours", 19}, {"minutes", 30}}, "scanning starts at 19:30");
  show("group      macos.scheduled_scanning.start_time = " + text(*start));

  const auto channel = manager.getStringValue("macos.updates.channel");
  claim(manager.getSettingIsReadonly("macos.updates.channel") == true, "the update channel is read-only");
  claim(channel == "stable", "a read-only setting keeps its default, whatever the service's values say");
  show("read-only  macos.updates.channel = " + text(*channel) + " (the service's value is ignored)");

  claim(!manager.getBoolValue("macos.firewall.current_profile_id"), "no kind is read as another");
  claim(!manager.getSettingValue("common.no.such.setting"), "a missing setting reads as none");
}

void lookAtFile(World& world) {
  struct stat status {};
  claim(::stat(world.localFile().c_str(), &status) == 0, "the settings are stored");
  claim((status.st_mode & 0777U) == 0600U, "the file is for its owner alone");
  claim(readPropertyList(world.localFile(), "fetch again") == world.manager().currentSettings(),
        "the file holds exactly the settings in memory");
  show(world.localFile() + ": " + std::to_string(status.st_size) + " bytes, a property list, equal to the settings");
}

void fetchUnchanged(World& world) {
  const auto before = world.manager().currentSettings();
  world.fetch();
  const auto request = lastRequest(world);
  showRequest(request);
  claim(request.status == 304, "an unchanged document is not sent again");
  claim(service::findHeader(request.request.headers, "If-None-Match").has_value(), "the fetch named its entity tag");
  claim(world.manager().currentSettings() == before, "the settings stay as they were");
}

void startFromFile(World& world) {
  const auto before = world.manager().currentSettings();
  const auto requests = world.service().log().count();
  world.stopService();
  world.startManager();
  claim(!world.manager().currentSettings(), "a new manager knows nothing");
  world.manager().updateLocalSettings();
  claim(world.manager().currentSettings() == before, "the stored settings are back");
  claim(world.service().log().count() == requests, "the service was not asked");
  show("the service is stopped; a new manager reads common.time.curfew.enabled = " +
       text(world.manager().getBoolValue("common.time.curfew.enabled").value_or(false)) + " from the file");
}

void surviveRefusals(World& world) {
  constexpr int refusals = 5;
  world.startService();
  world.startManager();
  world.manager().updateLocalSettings();
  world.service().log().clear();
  service::Fault unavailable;
  unavailable.status = 503;
  unavailable.count = refusals;
  unavailable.apply = false;
  world.service().faults().add({unavailable});

  const auto begin = std::chrono::steady_clock::now();
  world.fetch();
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;

  std::vector<int> statuses;
  for (const auto& entry : world.service().log().entries()) statuses.push_back(entry.status);
  claim(statuses == std::vector<int>{503, 503, 503, 503, 503, 200}, "five refusals are followed by a success");
  // Back-off with jitter: the nth wait is at most 0.1 s * 2^n, in whole seconds.
  const std::vector<int> longest = {0, 0, 0, 1, 3};
  const std::vector<int> waits = world.waits();
  claim(waits.size() == longest.size(), "each refusal is followed by one wait");
  std::string line = "service answered 503 five times, then 200; the manager waited";
  for (std::size_t i = 0; i < waits.size(); ++i) {
    claim(waits[i] >= 0 && waits[i] <= longest[i], "no wait is longer than the back-off allows");
    line += (i == 0 ? " " : ", ") + std::to_string(waits[i]);
  }
  claim(elapsed.count() >= std::accumulate(waits.begin(), waits.end(), 0), "the waits really took place");
  show(line + " s");
  claim(world.manager().getBoolValue("common.time.curfew.enabled") == true, "the settings are there");
}

constexpr Step story[] = {
    {"A manager fetches the settings from a service", fetchFromService},
    {"The host reads settings from memory", readSettings},
    {"The settings are kept in a file", lookAtFile},
    {"A second fetch finds nothing new", fetchUnchanged},
    {"The service is away; a new start reads the file", startFromFile},
    {"The service is back and refuses five times in a row", surviveRefusals},
    {"The service is away again; the host changes two settings", changeWhileServiceIsAway},
    {"The changes survive a restart", restartWithPendingChange},
    {"The service is back and gets them", uploadWhenServiceReturns},
    {"A change meets one of another client", changeAfterAnother},
    {"The settings as policies that a host acts on", showPolicy},
    {"A local change changes the policy at once", changePolicy},
};

}  // namespace

std::span<const Step> steps() {
  return story;
}

}  // namespace qlczephra::tools::demo
