// Reads by text, by prepared path and down the tree give the same, whatever was read before.
#include <gtest/gtest.h>

#include <random>

#include "document/tree_walk.h"
#include "tests/support/manager_world.h"

namespace qlczephra::test {
namespace {

// A settings tree in which the leaf at the end of each of `paths` holds the same number.
Map treeOf(const std::vector<std::string>& paths, int number) {
  const std::function<Map(Map, std::string_view)> with = [&](const Map& children, std::string_view path) {
    const std::size_t dot = path.find('.');
    const std::string_view name = path.substr(0, dot);
    if (dot == std::string_view::npos) return children.with(name, Map{{"v", number}});
    const Value* node = children.find(name);
    const Value* inner = node == nullptr ? nullptr : node->map()->find("v");
    const bool isGroup = inner != nullptr && inner->map() != nullptr;
    return children.with(name, Map{{"v", with(isGroup ? *inner->map() : Map(), path.substr(dot + 1))}});
  };
  Map tree;
  for (const std::string& path : paths) tree = with(tree, path);
  return tree;
}

TEST(ReadCache, GivesWhatTheTreeHolds) {
  std::mt19937 random(7);
  std::vector<std::string> paths;
  // Lengths around those up to which paths are kept, and around the words that are hashed at once.
  for (std::size_t length = 0; length <= 100; ++length) {
    paths.push_back("c." + std::string(length, 'x'));
    paths.push_back("c." + std::string(length, 'x') + "y");
  }
  for (int i = 0; i < 2000; ++i) {
    std::string path = "m";
    for (int depth = 0; depth < 4; ++depth) path += "." + std::to_string(random() % 12);
    paths.push_back(path);
  }
  std::vector<SettingPath> prepared(paths.begin(), paths.end());
  ManagerWorld world;
  const auto other = world.makeManager();
  std::vector<std::string> half(paths);
  std::erase_if(half, [&](const std::string&) { return random() % 2 == 0; });
  Map trees[2];
  for (int round = 0; round < 60; ++round) {
    const std::size_t which = random() % 2;
    QLCZephraManager& manager = which == 0 ? *world.manager : *other;
    if (random() % 3 == 0) {
      trees[which] = treeOf(random() % 2 == 0 ? paths : half, round);
      manager.setCurrentSettings(trees[which]);
    }
    for (int read = 0; read < 3000; ++read) {
      const std::size_t index = random() % paths.size();
      const Value* wanted = document::valueAt(trees[which], paths[index]);
      const auto number = wanted == nullptr ? std::nullopt : wanted->wholeNumber();
      ASSERT_EQ(manager.getNumberValue(paths[index]), number) << paths[index];
      ASSERT_EQ(manager.getNumberValue(prepared[index]), number) << paths[index];
    }
  }
}

TEST(ReadCache, PreparedPathsAreReadLikeTheirText) {
  ManagerWorld world;
  ASSERT_EQ(world.fetched(), "success");
  const QLCZephraManager& manager = *world.manager;
  for (int round = 0; round < 100; ++round) {
    for (const char* text : {"common", "common.name", "common.count", "common.on", "common.none", "", ".", "common."}) {
      const SettingPath path(text);
      const SettingPath copy = path;
      ASSERT_EQ(manager.getSettingValue(path), manager.getSettingValue(text)) << text;
      ASSERT_EQ(manager.getSettingValue(copy), manager.getSettingValue(text)) << text;
      ASSERT_EQ(manager.getDictValue(path), manager.getDictValue(text)) << text;
      ASSERT_EQ(manager.getBoolValue(path), manager.getBoolValue(text)) << text;
      ASSERT_EQ(manager.getNumberValue(path), manager.getNumberValue(text)) << text;
      ASSERT_EQ(manager.getStringValue(path), manager.getStringValue(text)) << text;
    }
  }
  EXPECT_EQ(manager.getStringValue(SettingPath("common.name")), "service");
  world.manager->setCurrentSettings(std::nullopt);
  EXPECT_EQ(manager.getStringValue("common.name"), std::nullopt);
  EXPECT_EQ(manager.getStringValue(SettingPath("common.name")), std::nullopt);
}

}  // namespace
}  // namespace qlczephra::test
