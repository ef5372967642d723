#include "benchmarks/accepted_write/pending_world.h"

#include <algorithm>
#include <utility>

#include "benchmarks/accepted_write/bare_replacement.h"
#include "benchmarks/support/require.h"
#include "platform/plist/plist.h"

namespace qlczephra::bench {

namespace {

constexpr int settingsInGroup = 50;

std::string pathOf(int setting) {
  return "common.g" + std::to_string(setting / settingsInGroup) + ".s" + std::to_string(setting % settingsInGroup);
}

// So many settings in groups: each setting is `leaf`, each group and the section what `around` makes of its members.
template <typename Around>
Map inGroups(int settings, const Value& leaf, Around around) {
  Map::Builder groups;
  for (int first = 0; first < settings; first += settingsInGroup) {
    Map::Builder group;
    for (int setting = 0; setting < std::min(settingsInGroup, settings - first); ++setting) {
      group.set("s" + std::to_string(setting), leaf);
    }
    groups.set("g" + std::to_string(first / settingsInGroup), around(group.build()));
  }
  return Map{{"common", around(groups.build())}};
}

// An effective settings tree of so many integer settings.
Map treeOf(int settings) {
  return inGroups(settings, Map{{"v", 0}, {"ro", false}}, [](Map members) { return Map{{"v", std::move(members)}}; });
}

// The patch map that gives the first of them a value.
Map changesOf(int settings, int value) {
  return inGroups(settings, value, [](Map members) { return members; });
}

std::size_t countOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++count;
  return count;
}

}  // namespace

PendingWorld::PendingWorld(int settings, int pending) {
  manager_.setLocalFilePath(directory_.file("zephra.plist"));
  manager_.setPatchFilePath(directory_.file("patch.plist"));
  manager_.setCurrentSettings(treeOf(settings));
  manager_.setSettingValue("common.upload", 1);  // begins the upload that never ends
  // As if they had been made one by one, which would take a second for a hundred.
  replaceBarely(directory_.file("patch.plist"), plist::write(Value(changesOf(pending, value_))).value());
  manager_.setSettingValue(pathOf(0), value_);
  patch_ = viewOf(directory_.file("patch.plist"));
  local_ = viewOf(directory_.file("zephra.plist"));
  const auto changes = static_cast<std::size_t>(pending);
  require(countOf(patch_, "<integer>") == changes && countOf(local_, "<integer>1000000<") == changes,
          "the files do not hold the changes");
}

void PendingWorld::change() {
  manager_.setSettingValue(pathOf(0), value_ = value_ == 9'999'999 ? 1'000'000 : value_ + 1);
}

void PendingWorld::replaceFiles() const {
  replaceBarely(directory_.file("bare-patch.plist"), patch_);
  flushNames(directory_.path());
  replaceBarely(directory_.file("bare-local.plist"), local_);
}

}  // namespace qlczephra::bench
