// Laying values over setting nodes, and the plain union of maps.
#include "document/merge.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/json_literal.h"

namespace qlczephra::document {
namespace {

using test::mapFromJson;

struct Case {
  const char* values;
  const char* node;
  const char* merged;
};

void expectMerges(const std::vector<Case>& cases) {
  for (const auto& [values, node, merged] : cases) {
    EXPECT_EQ(mergeValues(mapFromJson(values), mapFromJson(node)), mapFromJson(merged)) << values << " over " << node;
  }
}

TEST(MergeValues, LeavesTakeValuesAsTheirCurrentKindAllows) {
  struct Offer {
    const char* current;
    const char* offered;
    const char* result;
  };
  const Offer offers[] = {
      // Whole numbers, strings and lists take whatever comes, as it comes.
      {"1", "5", "5"},
      {"1", "2.5", "2.5"},
      {"1", "\"s\"", "\"s\""},
      {"1", "true", "true"},
      {"1", "null", "null"},
      {"1", "{\"v\": 2}", "{\"v\": 2}"},
      {"1.0", "5", "5"},
      {"18446744073709551615", "0", "0"},
      {"\"\"", "7", "7"},
      {"\"s\"", "[1]", "[1]"},
      {"[]", "\"s\"", "\"s\""},
      {"[1, 2]", "[3]", "[3]"},
      // Booleans stay booleans.
      {"true", "false", "false"},
      {"false", "1", "true"},
      {"true", "0", "false"},
      {"true", "0.0", "false"},
      {"false", "1.0", "true"},
      {"true", "-0.0", "false"},
      {"true", "2", nullptr},
      {"true", "-1", nullptr},
      {"false", "0.5", nullptr},
      {"false", "18446744073709551615", nullptr},
      {"false", "\"true\"", nullptr},
      {"false", "null", nullptr},
      {"false", "[true]", nullptr},
      {"false", "{}", nullptr},
      // Maps merge with maps only; here a plain one, in which only what looks like a node takes a value.
      {"{}", "5", nullptr},
      {"{}", "{\"a\": 1}", "{}"},
      {"{\"a\": 1}", "{\"a\": 2, \"b\": 3}", "{\"a\": 1}"},
      {"{\"a\": {\"v\": 1}}", "{\"a\": 2}", "{\"a\": {\"v\": 2}}"},
      // Nothing else takes anything.
      {"null", "5", nullptr},
      {"2.5", "5", nullptr},
      {"1e300", "5", nullptr},
  };
  for (const auto& [current, offered, result] : offers) {
    const std::string child = std::string(R"({"v": )") + current + R"(, "ro": false, "dynamic": false})";
    const std::string merged = result == nullptr ? child : std::string(R"({"v": )") + result + "}";
    EXPECT_EQ(mergeValues(mapFromJson(std::string(R"({"a": )") + offered + "}"),
                          mapFromJson(R"({"v": {"a": )" + child + R"(}, "ro": false})")),
              mapFromJson(R"({"v": {"a": )" + merged + "}}"))
        << offered << " offered to " << current;
  }
}

TEST(MergeValues, WhatTheTreeDoesNotKnowOrForbidsStaysOut) {
  expectMerges({
      {R"({"a": 5})", "{}", "{}"},
      {R"({"a": 5})", R"({"ro": false})", R"({"ro": false})"},
      {R"({"a": 5})", R"({"v": 1, "ro": false})", R"({"v": 1, "ro": false})"},
      {R"({})", R"({"v": {"a": {"v": 1, "ro": false}}, "ro": false})", R"({"v": {"a": {"v": 1, "ro": false}}})"},
      {R"({"b": 5, "A": 5, "": 5})", R"({"v": {"a": {"v": 1}}})", R"({"v": {"a": {"v": 1}}})"},
      {R"({"p": 5, "q": {"v": 5}})", R"({"v": {"p": {}, "q": {"ro": false}}})",
       R"({"v": {"p": {}, "q": {"ro": false}}})"},
      {R"({"a": 5})", R"({"v": {"a": 1}})", R"({"v": {"a": 1}})"},
      // Read-only: the leaf, the group, and all that is below; only the boolean true counts.
      {R"({"a": 5})", R"({"v": {"a": {"v": 1, "ro": true}}, "ro": false})", R"({"v": {"a": {"v": 1, "ro": true}}})"},
      {R"({"a": 5})", R"({"v": {"a": {"v": 1}}, "ro": true})", R"({"v": {"a": {"v": 1}}, "ro": true})"},
      {R"({"g": {"a": 5}})", R"({"v": {"g": {"v": {"a": {"v": 1}}, "ro": true}}})",
       R"({"v": {"g": {"v": {"a": {"v": 1}}, "ro": true}}})"},
      {R"({"a": 5})", R"({"v": {"a": {"v": 1, "ro": 1}}, "ro": "true"})", R"({"v": {"a": {"v": 5}}})"},
      // Groups merge with maps only.
      {R"({"g": {"a": 5, "x": 1}})", R"({"v": {"g": {"v": {"a": {"v": 1}, "b": {"v": 2, "ro": false}}, "ro": false}}})",
       R"({"v": {"g": {"v": {"a": {"v": 5}, "b": {"v": 2, "ro": false}}}}})"},
      {R"({"g": "text"})", R"({"v": {"g": {"v": {"a": {"v": 1}}, "ro": false}}})",
       R"({"v": {"g": {"v": {"a": {"v": 1}}, "ro": false}}})"},
  });
}

TEST(MergeValues, DynamicGroupsTakeEverythingRaw) {
  expectMerges({
      {R"({"a": 5})", R"({"v": {}, "ro": false, "dynamic": true})", R"({"v": {"a": 5}})"},
      {R"({"a": null, "b": {"v": 1}})", R"({"v": {"a": {"v": 1, "ro": true}, "c": {"v": 2}}, "dynamic": true})",
       R"({"v": {"a": null, "b": {"v": 1}, "c": {"v": 2}}})"},
      {R"({"a": 5})", R"({"v": {"z": 1}, "ro": true, "dynamic": true})", R"({"v": {"a": 5, "z": 1}})"},
      {R"({"a": 5})", R"({"v": 1, "dynamic": true})", R"({"v": 1, "dynamic": true})"},
      {R"({"a": 5})", R"({"v": {"z": {"v": 1}}, "dynamic": 1})", R"({"v": {"z": {"v": 1}}})"},
      // As a child; there the read-only flag comes first.
      {R"({"g": {"a": 5}})", R"({"v": {"g": {"v": {}, "dynamic": true}}})", R"({"v": {"g": {"v": {"a": 5}}}})"},
      {R"({"g": {"a": 5}})", R"({"v": {"g": {"v": {}, "ro": true, "dynamic": true}}})",
       R"({"v": {"g": {"v": {}, "ro": true, "dynamic": true}}})"},
  });
}

TEST(MergeValues, EachLayerIsTestedAgainstTheOneBelow) {
  const Map first = mergeValues(mapFromJson(R"({"a": "text", "g": {"k": 1}})"),
                                mapFromJson(R"({"v": {"a": {"v": 1}, "g": {"v": {}, "dynamic": true}}})"));
  // The number has become a string, and the dynamic group an ordinary one with a raw member.
  EXPECT_EQ(mergeValues(mapFromJson(R"({"a": true, "g": {"k": 2, "l": 3}})"), first),
            mapFromJson(R"({"v": {"a": {"v": true}, "g": {"v": {"k": 1}}}})"));
}

TEST(MergeValues, WhatIsThereAlreadyIsShared) {
  const Map values = mapFromJson(R"({"a": {"x": 1, "list": [1]}, "b": {"y": "s"}, "unknown": 1})");
  const Map node = mapFromJson(
      R"({"v": {"a": {"v": {"x": {"v": 0}, "list": {"v": []}}}, "b": {"v": {"y": {"v": "t"}, "z": {"v": 1}}}}})");
  const Map once = mergeValues(values, node);
  EXPECT_TRUE(mergeValues(values, once).sharesWith(once));

  const Map changed = mergeValues(mapFromJson(R"({"a": {"x": 2}, "b": {"y": "s"}})"), once);
  EXPECT_EQ(changed, mapFromJson(R"({"v": {"a": {"v": {"x": {"v": 2}, "list": {"v": [1]}}},
                                           "b": {"v": {"y": {"v": "s"}, "z": {"v": 1}}}}})"));
  EXPECT_TRUE(changed.find("v")->map()->find("b")->map()->sharesWith(*once.find("v")->map()->find("b")->map()));

  // The same value, in a node that has more to say: it is a merged one from now on.
  EXPECT_EQ(mergeValues(mapFromJson(R"({"x": 1})"), mapFromJson(R"({"ro": false, "v": {"x": {"ro": false, "v": 1}}})")),
            mapFromJson(R"({"v": {"x": {"v": 1}}})"));
  EXPECT_EQ(mergeValues(Map(), mapFromJson(R"({"ro": false, "v": {"x": {"v": 1}}})")),
            mapFromJson(R"({"v": {"x": {"v": 1}}})"));
}

TEST(MergeValues, AZeroTakesTheSignThatIsOffered) {
  const Map merged = mergeValues({{"x", -0.0}}, {{"v", Map{{"x", Map{{"v", 0.0}}}}}});
  EXPECT_TRUE(std::signbit(*merged.find("v")->map()->find("x")->map()->find("v")->real()));
}

TEST(DeepMerging, OtherWinsAndMapsMergeKeyByKey) {
  const Case cases[] = {
      {R"({"a": {"y": 3}, "c": 4})", R"({"a": {"x": 1, "y": 2}, "b": 1})",
       R"({"a": {"x": 1, "y": 3}, "b": 1, "c": 4})"},
      {R"({"a": 7})", R"({"a": {"x": 1}})", R"({"a": 7})"},
      {R"({"a": {"x": 1}})", R"({"a": 7})", R"({"a": {"x": 1}})"},
      {R"({"a": {}})", R"({"a": {"x": 1}})", R"({"a": {"x": 1}})"},
      {R"({"a": [2]})", R"({"a": [1, {"x": 1}]})", R"({"a": [2]})"},
      {R"({"a": null})", R"({"a": {"x": 1}})", R"({"a": null})"},
      {R"({"a": {"b": {"c": {"e": 2}}}})", R"({"a": {"b": {"c": {"d": 1}}}})",
       R"({"a": {"b": {"c": {"d": 1, "e": 2}}}})"},
      {"{}", R"({"a": 1})", R"({"a": 1})"},
      {R"({"": 1})", "{}", R"({"": 1})"},
  };
  for (const auto& [other, base, merged] : cases) {
    EXPECT_EQ(deepMerging(mapFromJson(base), mapFromJson(other)), mapFromJson(merged)) << other << " over " << base;
  }
}

TEST(DeepMerging, InputsStayAndUntouchedPartsAreShared) {
  const Map base = mapFromJson(R"({"a": {"x": 1}, "b": {"long": [1, 2, 3]}})");
  const Map merged = deepMerging(base, mapFromJson(R"({"a": {"x": 2}})"));
  EXPECT_EQ(base, mapFromJson(R"({"a": {"x": 1}, "b": {"long": [1, 2, 3]}})"));
  EXPECT_TRUE(merged.find("b")->map()->sharesWith(*base.find("b")->map()));
}

}  // namespace
}  // namespace qlczephra::document
