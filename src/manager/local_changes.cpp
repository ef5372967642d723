// Changes that the host makes: recorded, applied and stored before the call returns, sent as soon as may be.
#include <utility>

#include "document/merge.h"
#include "document/patch.h"
#include "manager/manager_core.h"
#include "state/plist_file.h"
#include "value/path.h"

namespace qlczephra {

void ManagerCore::setSettingValue(std::string_view path, const Value& value) {
  log_.info("Will update " + std::string(path) + " setting in zephra");
  if (const char* reason = document::whyTooLarge(path, value)) {
    log_.error("A change was refused, " + std::string(reason) + ": " + std::string(path.substr(0, 200)));
    return;
  }
  const auto changes = pendingChanges();
  if (!changes->hasFiles()) {
    log_.error("Patch file path not usable, change refused: " + patchFilePath().value_or("(not set)"));
    return;
  }
  const auto localPath = localFilePath();
  const Map change = document::makePatch(path, value);
  std::vector<std::string> errors;
  PendingChanges::Start start;
  bool accepted = false;
  {
    const platform::MutexLock lock(changes->patchLock());
    if (const auto recorded = changes->record(change, errors)) {
      if (const auto before = currentSettings_.revision()) {
        const bool liesThere = recorded->grownFrom != 0 && recorded->grownFrom == before->settledPatch;
        const document::PatchedTree settings = liesThere ? document::layChange(before->tree, recorded->patch, change)
                                                         : document::layPatch(before->tree, recorded->patch);
        currentSettings_.publish(settings.tree, settings.isSettled ? recorded->number : 0);
        if (localPath) storeSettings(*localPath, settings.tree, before->tree);
      }
      start = changes->startUpload(errors);
      accepted = true;
    }
  }
  for (const std::string& error : errors) log_.error(error);
  if (!accepted) return;
  if (!localPath) log_.process("Error: Local file path not set");
  carryOn(changes, std::move(start));
}

}  // namespace qlczephra
