// Reading a tree by dotted path.
#include "document/tree_walk.h"

#include <gtest/gtest.h>

#include "tests/support/json_literal.h"

namespace qlczephra::document {
namespace {

using test::fromJson;
using test::mapFromJson;

const Map& tree() {
  static const Map instance = mapFromJson(R"({
    "common": {"ro": false, "v": {
      "leaf": {"v": 2.5},
      "locked": {"v": true, "ro": true},
      "placeholder": {},
      "noValue": {"ro": true},
      "null": {"v": null},
      "": {"v": {"": {"v": "empty names"}}},
      "group": {"ro": true, "v": {"inner": {"v": "x", "ro": false}, "hole": {}}},
      "oddFlag": {"v": 1, "ro": 1},
      "oddGroup": {"ro": "true", "v": {"inner": {"v": 1}}},
      "mixed": {"v": {"node": {"v": 1}, "raw": 5, "map": {"k": 1}, "lookalike": {"v": {"k": {"v": 1}}}}},
      "object": {"v": {"k": 1}}}},
    "macos": {},
    "odd": 5})");
  return instance;
}

TEST(TreeWalk, FindsValuesAndFlags) {
  struct Case {
    const char* path;
    const char* value;  // null: none
    std::optional<bool> readonly;
  };
  const Case cases[] = {
      {"common.leaf", "2.5", false},
      {"common.locked", "true", true},
      {"common.placeholder", nullptr, false},
      {"common.noValue", nullptr, true},
      {"common.null", "null", false},
      {"common.group.inner", "\"x\"", true},
      {"common.group.hole", nullptr, true},
      {"common.group.missing", nullptr, true},
      {"common.group", R"({"inner": {"v": "x", "ro": false}, "hole": {}})", true},
      {"common.oddFlag", "1", false},
      {"common.oddGroup.inner", "1", false},
      {"common.mixed.raw", nullptr, std::nullopt},
      {"common.mixed.map", nullptr, false},
      {"common.mixed.map.k", nullptr, std::nullopt},
      {"common.mixed.lookalike.k", "1", false},
      {"common.object", R"({"k": 1})", false},
      {"common.object.k", nullptr, std::nullopt},
      {"common..", "\"empty names\"", false},
      {"common.", R"({"": {"v": "empty names"}})", false},
      {"common.leaf.", nullptr, std::nullopt},
      {"common.leaf.x", nullptr, std::nullopt},
      {"common.missing", nullptr, std::nullopt},
      {"common.placeholder.x", nullptr, std::nullopt},
      {"common.noValue.x", nullptr, std::nullopt},
      {"common.v.leaf", nullptr, std::nullopt},
      {"", nullptr, std::nullopt},
      {".", nullptr, std::nullopt},
      {".common", nullptr, std::nullopt},
      {"Common.leaf", nullptr, std::nullopt},
      {"common .leaf", nullptr, std::nullopt},
      {"macos", nullptr, false},
      {"macos.x", nullptr, std::nullopt},
      {"odd", nullptr, std::nullopt},
      {"windows", nullptr, std::nullopt},
  };
  for (const auto& [path, value, readonly] : cases) {
    const Value* found = valueAt(tree(), path);
    ASSERT_EQ(found != nullptr, value != nullptr) << path;
    if (found != nullptr) {
      EXPECT_EQ(*found, fromJson(value)) << path;
    }
    EXPECT_EQ(isReadonlyAt(tree(), path), readonly) << path;
  }
  EXPECT_EQ(valueAt(Map(), "common"), nullptr);
  EXPECT_EQ(*valueAt(tree(), "common"), *tree().find("common")->map()->find("v"));
}

TEST(TreeWalk, FlattensNodesAndKeepsWhatIsNone) {
  EXPECT_EQ(flattened(*valueAt(tree(), "common")->map()), mapFromJson(R"({
    "leaf": 2.5, "locked": true, "placeholder": {}, "noValue": {"ro": true}, "null": null,
    "": {"": "empty names"}, "group": {"inner": "x", "hole": {}}, "oddFlag": 1, "oddGroup": {"inner": 1},
    "mixed": {"node": 1, "raw": 5, "map": {"k": 1}, "lookalike": {"k": 1}}, "object": {"k": 1}})"));
  EXPECT_EQ(flattened(Map()), Map());
}

}  // namespace
}  // namespace qlczephra::document
