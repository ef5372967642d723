#include "tools/demo/change_steps.h"

#include <thread>

#include "tools/leaves.h"
#include "tools/pending_files.h"

namespace qlczephra::tools::demo {
namespace {

using namespace std::chrono_literals;

constexpr const char* curfew = "common.time.curfew.enabled";
constexpr const char* quota = "common.time.quota.friday.duration";

void showPending(const World& world) {
  const PendingFiles::Changes changes = PendingFiles(world.patchFile()).read();
  for (const auto& [path, value] : leavesOf(changes.sending))
    show("handed to an upload: " + path + " = " + shown(value));
  for (const auto& [path, value] : leavesOf(changes.waiting)) show("waiting: " + path + " = " + shown(value));
}

void awaitUpload(const World& world) {
  const PendingFiles files(world.patchFile());
  for (int look = 0; look < 3000 && !files.areGone(); ++look) std::this_thread::sleep_for(10ms);
  claim(files.areGone(), "all changes were uploaded");
}

// What the service itself holds, past the library.
Value atService(World& world, const std::string& path) {
  const Leaves values = leavesOf(world.service().store().values(World::product).value_or(Map()));
  const auto found = values.find(path);
  claim(found != values.end(), "the service has a value of " + path);
  return found->second;
}

}  // namespace

void changeWhileServiceIsAway(World& world) {
  world.stopService();
  world.manager().setBoolValue(curfew, false);
  claim(world.manager().getBoolValue(curfew) == false, "the change is readable at once");
  show("the service is stopped; " + std::string(curfew) + " is set and reads as false");
  // The first change is on its way, which ends nowhere; this one waits for it.
  world.manager().setObjectValue(quota, 45);
  claim(world.manager().getNumberValue(quota) == 45, "the second change is readable at once");
  showPending(world);
  claim(atService(world, curfew) == true, "the service knows nothing of it");
}

void restartWithPendingChange(World& world) {
  world.startManager();
  claim(!world.manager().getBoolValue(curfew), "a new manager knows nothing");
  world.manager().updateLocalSettings();
  claim(world.manager().getBoolValue(curfew) == false && world.manager().getNumberValue(quota) == 45,
        "both changes are there after a restart");
  claim(!PendingFiles(world.patchFile()).areGone(), "they wait for the service");
  show("a new manager reads both changes from its files");
  showPending(world);
}

void uploadWhenServiceReturns(World& world) {
  world.service().log().clear();
  world.startService();
  world.startManager();  // the service has a new address, which a host would learn from its URL provider
  world.manager().updateLocalSettings();
  awaitUpload(world);
  const auto entries = world.service().log().entries();
  claim(!entries.empty(), "the service was asked");
  showRequest(entries.back());
  claim(entries.back().request.method == "PATCH" && entries.back().status == 200, "the service took an upload");
  claim(atService(world, curfew) == false && atService(world, quota) == 45, "the service has both changes");
  show("service has " + std::string(curfew) + " = " + shown(atService(world, curfew)) + ", " + quota + " = " +
       shown(atService(world, quota)));
}

void changeAfterAnother(World& world) {
  constexpr const char* profile = "macos.firewall.current_profile_id";
  world.fetch();
  const Map byAnother{{"common", Map{{"time", Map{{"curfew", Map{{"enabled", true}}}}}}}};
  const auto always = [](std::string_view) { return true; };
  claim(world.service().store().update(World::product, byAnother, always).status == service::Store::UpdateStatus::done,
        "another client changes a setting");
  world.service().log().clear();
  world.manager().setStringValue(profile, "home");
  awaitUpload(world);

  std::vector<std::string> seen;
  for (const auto& entry : world.service().log().entries()) {
    showRequest(entry);
    seen.push_back(entry.request.method + " " + std::to_string(entry.status));
  }
  claim(seen == std::vector<std::string>{"PATCH 412", "GET 200", "PATCH 200"},
        "an upload against an old document is refused, the settings are fetched, and it is sent again");
  claim(atService(world, profile) == "home", "the service has the change");
  claim(world.manager().getBoolValue(curfew) == true, "the refresh brought the other client's change");
  claim(world.manager().getStringValue(profile) == "home", "and left the host's own in effect");
  show("both changes are at the service and in the manager");
}

}  // namespace qlczephra::tools::demo
