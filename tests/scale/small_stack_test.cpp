// The deepest inputs that are accepted need no deep stack: a host may call the library on a thread with a small one.
#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>
#include <string>

#include "document/merge.h"
#include "document/patch.h"
#include "document/tree_walk.h"
#include "platform/json/json.h"
#include "platform/plist/plist.h"
#include "tests/support/manager_world.h"
#include "tests/support/nested_text.h"
#include "tests/support/sanitizers.h"
#include "tests/support/settings_document.h"
#include "value/limits.h"
#include "value/value_size.h"

namespace qlczephra::test {
namespace {

// An overflow ends the program.
void onSmallStack(std::function<void()> work) {
  constexpr std::size_t smallStack = std::size_t{64} * 1024;
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, smallStack), 0);
  pthread_t thread{};
  const auto run = [](void* task) -> void* {
    (*static_cast<std::function<void()>*>(task))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, run, &work), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

class SmallStack : public testing::Test {
 protected:
  // Sanitizers give every frame room of its own.
  void SetUp() override {
    if (underSanitizer) GTEST_SKIP() << "frames are not those of the library";
  }
};

Value deepMap(std::size_t levels, Value innermost, std::string_view key = "g") {
  for (std::size_t level = 0; level < levels; ++level) innermost = Map{{key, std::move(innermost)}};
  return innermost;
}

// A tree of groups inside each other, as deep as one may be.
Map deepTree() {
  Value node = Map{{"v", 1}};
  for (std::size_t level = 1; level < plist::maximumNesting / 2; ++level)
    node = Map{{"v", Map{{"g", std::move(node)}}}};
  return {{"common", std::move(node)}};
}

std::string deepPath() {
  std::string path = "common";
  for (std::size_t name = 1; name < limits::changeNesting; ++name) path += ".g";
  return path;
}

TEST_F(SmallStack, ReadingAndWriting) {
  onSmallStack([] {
    const std::string text = nested(limits::documentNesting, "{\"g\":", "1", "}");
    const auto read = json::read(text);
    EXPECT_EQ(json::write(std::get<Value>(read)), text);
    EXPECT_TRUE(json::write(std::get<Value>(read), json::Style::indented));
    EXPECT_TRUE(std::get<json::ReadError>(json::read(std::string(1'000'000, '['))).exceedsLimit);
  });
  onSmallStack([] {
    const auto text = plist::write(deepMap(plist::maximumNesting, 1));
    const auto read = plist::read(*text);
    EXPECT_EQ(std::get<Value>(read), deepMap(plist::maximumNesting, 1));
    EXPECT_EQ(plist::write(deepMap(plist::maximumNesting + 1, 1)), std::nullopt);
  });
}

TEST_F(SmallStack, InterpretingMergingAndFlattening) {
  onSmallStack([] {
    Value schema = Map{{"type", "integer"}, {"default", 1}};
    constexpr std::size_t groups = (limits::documentNesting - 4) / 2;
    for (std::size_t i = 0; i < groups; ++i) schema = Map{{"properties", Map{{"g", std::move(schema)}}}};
    const Map document{{"data", Map{{"eff_schema", Map{{"common", schema}, {"macos", Map()}}}}}};
    ASSERT_LE(document.nesting(), limits::documentNesting);
    const Map layer{{"common", deepMap(groups, 2)}};
    const Map tree = test::interpreted(document)->effectiveTree({&layer, &layer});
    EXPECT_EQ(document::flattened(tree), layer.with("macos", Map()));
  });
}

TEST_F(SmallStack, Changes) {
  onSmallStack([] {
    const Map tree = deepTree();
    const std::string path = deepPath();
    ASSERT_EQ(document::whyTooLarge(path.substr(0, path.size() - 2), Map()), nullptr);
    const Map patch = document::makePatch(path.substr(0, path.size() - 2), Map{{"g", 1}});
    const Map merged = document::deepMerging(patch, document::makePatch(path, 2));
    EXPECT_EQ(valueSizeOf(merged).values, limits::changeNesting);
    const Map changed = document::applyPatch(tree, merged);
    EXPECT_TRUE(document::flattened(changed) == document::flattened(tree)) << "a group takes no number";
    EXPECT_EQ(document::isReadonlyAt(changed, path), false);
  });
}

// A host's thread that changes a setting and reads the settings.
TEST_F(SmallStack, OfTheHost) {
  ManagerWorld world;
  world.manager->setCurrentSettings(deepTree());
  onSmallStack([&] {
    const std::string path = deepPath();
    world.manager->setSettingValue(path.substr(0, path.size() - 2), Map{{"g", 1}});
    EXPECT_EQ(world.manager->getFlattenedDict("common")->nesting(), plist::maximumNesting / 2 - 1);
    EXPECT_TRUE(world.storedMap(ManagerWorld::sendingFile)) << "the upload begins at once";
    world.manager->updateLocalSettings();
    EXPECT_TRUE(world.manager->getSettingValue(path));
    world.manager.reset();
  });
}

}  // namespace
}  // namespace qlczephra::test
