// How large what comes in may be: at each limit it goes the whole way, beyond it changes nothing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "document/patch.h"
#include "platform/json/json.h"
#include "tests/support/json_literal.h"
#include "tests/support/manager_world.h"
#include "value/limits.h"

namespace qlczephra::test {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::SizeIs;

Value valueIn(const std::string& text) {
  return std::get<Value>(json::read(text));
}

TEST(DocumentLimits, HoldAndAreTold) {
  const auto text = [](std::size_t size) { return "\"" + std::string(size, 'x') + "\""; };
  const auto list = [](std::size_t size) {
    std::string zeros = "[0";
    for (std::size_t i = 1; i < size; ++i) zeros += ",0";
    return zeros + "]";
  };
  EXPECT_TRUE(valueIn(text(limits::stringLength)).string());
  EXPECT_TRUE(std::get<json::ReadError>(json::read(text(limits::stringLength + 1))).exceedsLimit);
  EXPECT_TRUE(valueIn("{" + text(limits::keyLength) + ":1}").map());
  EXPECT_TRUE(std::get<json::ReadError>(json::read("{" + text(limits::keyLength + 1) + ":1}")).exceedsLimit);
  EXPECT_EQ(valueIn(list(limits::documentValues)).list()->size(), limits::documentValues);
  EXPECT_TRUE(std::get<json::ReadError>(json::read(list(limits::documentValues + 1))).exceedsLimit);
}

// What is accepted goes the whole way: written, read by the next process, sent; what is refused changes nothing.
TEST(ChangeLimits, HoldBeforeAChangeIsAccepted) {
  const auto nested = [](int levels) {
    Value value(1);
    for (int i = 0; i < levels; ++i) value = List{value};
    return value;
  };
  const auto list = [](std::size_t size) { return Value(List(std::vector<Value>(size, Value(true)))); };
  const auto text = [](std::size_t size) { return std::string(size, 'x'); };
  struct Case {
    const char* name;
    std::string path;
    Value value;
    const char* refusal;  // null: accepted
  };
  const Case cases[] = {
      {"nesting", "common.deep", nested(508), nullptr},
      {"nesting", "common.deep", nested(509), "nested too deep"},
      {"nesting of the path", "common" + std::string(509, '.'), Value(1), nullptr},
      {"nesting of the path", "common" + std::string(510, '.'), Value(1), "nested too deep"},
      {"name", "common." + text(limits::keyLength), Value(1), nullptr},
      {"name", "common." + text(limits::keyLength + 1) + ".a", Value(1), "name is too long"},
      {"key", "common.map", Value(Map{{text(limits::keyLength + 1), 1}}), "name is too long"},
      {"string", "common.text", Value(text(limits::stringLength)), nullptr},
      {"string", "common.text", Value(List{text(limits::stringLength + 1)}), "string is too long"},
      {"values", "common.list", list(limits::pendingValues - 2), nullptr},
      {"values", "common.list", list(limits::pendingValues - 1), "Too many changes"},
      {"bytes", "common.list",
       Value(List{text(limits::stringLength), text(limits::pendingBytes - limits::stringLength - 10)}), nullptr},
      {"bytes", "common.list",
       Value(List{text(limits::stringLength), text(limits::pendingBytes - limits::stringLength - 9)}),
       "Too many changes"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ManagerWorld w;
    w.whenServiceAnswers({200});
    ASSERT_EQ(w.fetched(), "success");
    w.whenServiceAlwaysAnswers(403);
    const auto before = w.manager->currentSettings();
    w.manager->setSettingValue(c.path, c.value);
    EXPECT_THAT(w.logWith("change refused").size() + w.logWith("change was refused").size(), c.refusal ? 1 : 0);
    if (c.refusal != nullptr) {
      EXPECT_THAT(w.logWith(c.refusal), SizeIs(1));
      EXPECT_EQ(w.manager->currentSettings(), before);
      EXPECT_THAT(w.world.disk().paths(), ElementsAre(ManagerWorld::localFile));
      continue;
    }
    w.advance(milliseconds(100));
    w.manager = w.makeManager();
    w.manager->setLocalFilePath(ManagerWorld::localFile);
    w.manager->setPatchFilePath(ManagerWorld::patchFile);
    w.whenServiceAlwaysAnswers(200);
    w.manager->updateLocalSettings();
    w.runUntilIdle();
    ASSERT_EQ(w.requests().back().request.method, "PATCH");
    EXPECT_TRUE(mapFromJson(*w.requests().back().request.body) ==
                (Map{{"values", document::makePatch(c.path, c.value)}}));
    EXPECT_THAT(w.world.disk().paths(), ElementsAre(ManagerWorld::localFile));
  }
}

TEST(ChangeLimits, CountWhatIsBeingSentAndWhatWaits) {
  ManagerWorld world;
  world.whenServiceAnswers({200});
  ASSERT_EQ(world.fetched(), "success");
  world.whenServiceAlwaysAnswers(429);
  const auto partOf = [](std::size_t parts) {
    return Value(List(std::vector<Value>(limits::pendingValues / parts, Value(true))));
  };
  world.manager->setSettingValue("common.first", partOf(2));
  world.advance(milliseconds(100));
  world.manager->setSettingValue("common.second", partOf(2));
  EXPECT_THAT(world.logWith("Too many changes"), SizeIs(1));
  // What waits beside it is counted as it grows and as values are replaced.
  for (int round = 0; round < 3; ++round) world.manager->setSettingValue("common.second", partOf(4));
  EXPECT_THAT(world.logWith("Too many changes"), SizeIs(1));
  world.manager->setSettingValue("common.third", partOf(4));
  EXPECT_THAT(world.logWith("Too many changes"), SizeIs(2));
  world.manager->setSettingValue("common.second", true);
  world.manager->setSettingValue("common.third", partOf(4));
  EXPECT_THAT(world.logWith("Too many changes"), SizeIs(2));
}

}  // namespace
}  // namespace qlczephra::test
