// From a settings document and pending changes to the effective settings tree.
#include "document/settings_document.h"

#include <gtest/gtest.h>

#include "tests/support/json_literal.h"
#include "tests/support/settings_document.h"

namespace qlczephra::document {
namespace {

using test::fromJson;
using test::interpreted;
using test::mapFromJson;

TEST(SettingsDocument, NeedsASchemaForCommonAndMacos) {
  struct Case {
    const char* document;
    const char* tree;  // null: none
  };
  const Case cases[] = {
      {"{}", nullptr},
      {R"({"data": 5})", nullptr},
      {R"({"data": {}})", nullptr},
      {R"({"data": {"eff_schema": []}})", nullptr},
      {R"({"data": {"eff_schema": {"common": {}, "windows": {}}}})", nullptr},
      {R"({"data": {"eff_schema": {"macos": {}, "windows": {}}}})", nullptr},
      {R"({"data": {"eff_schema": {"common": {}, "macos": true}}})", nullptr},
      {R"({"eff_schema": {"common": {}, "macos": {}}})", nullptr},
      {R"({"data": {"eff_schema": {"common": {}, "macos": {}}}})", R"({"common": {}, "macos": {}})"},
      {R"({"x": 1, "data": {"y": 2, "eff_schema": {"common": {}, "macos": {}, "windows": 5, "linux": {}}}})",
       R"({"common": {}, "macos": {}})"},
      {R"({"data": {"eff_schema": {"common": {"properties": {}}, "macos": {"properties": 5}, "windows": {}}}})",
       R"({"common": {"v": {}, "ro": false}, "macos": {}, "windows": {}})"},
      // Values without a usable schema or of a wrong kind.
      {R"({"data": {"eff_schema": {"common": {}, "macos": {}}, "values": {"common": {"a": 1}, "linux": {"a": 1}}}})",
       R"({"common": {}, "macos": {}})"},
      {R"({"data": {"eff_schema": {"common": {"properties": {}}, "macos": {}}, "values": 5}})",
       R"({"common": {"v": {}, "ro": false}, "macos": {}})"},
      {R"({"data": {"eff_schema": {"common": {"properties": {}}, "macos": {}}, "values": {"common": []}}})",
       R"({"common": {"v": {}, "ro": false}, "macos": {}})"},
  };
  for (const auto& [document, tree] : cases) {
    const auto settings = interpreted(document);
    ASSERT_EQ(settings.has_value(), tree != nullptr) << document;
    if (settings) {
      EXPECT_EQ(settings->effectiveTree({}), mapFromJson(tree)) << document;
    }
  }
}

TEST(SettingsDocument, SchemaLeavesBecomeNodesOrPlaceholders) {
  struct Case {
    const char* schema;
    const char* node;
  };
  const Case cases[] = {
      {R"({"type": "integer", "default": 5})", R"({"v": 5, "ro": false})"},
      {R"({"type": "integer", "default": 2.0})", R"({"v": 2, "ro": false})"},
      {R"({"type": "integer", "default": 18446744073709551615})", R"({"v": 18446744073709551615, "ro": false})"},
      {R"({"type": "integer", "default": 2.5})", "{}"},
      {R"({"type": "integer", "default": 1e300})", "{}"},
      {R"({"type": "integer", "default": true})", "{}"},
      {R"({"type": "integer", "default": "5"})", "{}"},
      {R"({"type": "integer"})", "{}"},
      {R"({"type": "string", "default": ""})", R"({"v": "", "ro": false})"},
      {R"({"type": "string", "default": 5})", "{}"},
      {R"({"type": "boolean", "default": false})", R"({"v": false, "ro": false})"},
      {R"({"type": "boolean", "default": 1})", "{}"},
      {R"({"type": "array", "default": [1, {"a": null}]})", R"({"v": [1, {"a": null}], "ro": false})"},
      {R"({"type": "array", "default": {}})", "{}"},
      {R"({"type": "array"})", "{}"},
      {R"({"type": "object"})", R"({"v": {}, "ro": false})"},
      {R"({"type": "object", "default": {"a": 1}})", R"({"v": {"a": 1}, "ro": false})"},
      {R"({"type": "object", "default": 5})", R"({"v": 5, "ro": false})"},
      {R"({"type": "object", "default": null})", R"({"v": null, "ro": false})"},
      {R"({"type": "number", "default": 5})", "{}"},
      {R"({"type": "Integer", "default": 5})", "{}"},
      {R"({"type": 5, "default": 5})", "{}"},
      {R"({"default": 5, "readonly": true})", "{}"},
      {R"({"type": "string", "default": "s", "readonly": true})", R"({"v": "s", "ro": true})"},
      {R"({"type": "string", "default": "s", "readonly": 1, "dynamic": "true"})", R"({"v": "s", "ro": false})"},
      {R"({"type": "string", "default": "s", "readonly": true, "dynamic": true})",
       R"({"v": "s", "ro": true, "dynamic": true})"},
      {R"({"type": "string", "default": "s", "dynamic": false})", R"({"v": "s", "ro": false})"},
      {"{}", "{}"},
      {"5", "{}"},
      {R"("string")", "{}"},
      {"null", "{}"},
      // Groups.
      {R"({"properties": {}, "dynamic": true, "readonly": true, "type": "string", "default": "s"})",
       R"({"v": {}, "ro": true, "dynamic": true})"},
      {R"({"properties": {"a": {"properties": {"b": {"type": "boolean", "default": true}}}, "p": 1}})",
       R"({"v": {"a": {"v": {"b": {"v": true, "ro": false}}, "ro": false}, "p": {}}, "ro": false})"},
      {R"({"properties": 5, "type": "string", "default": "s"})", R"({"v": "s", "ro": false})"},
  };
  for (const auto& [schema, node] : cases) {
    const std::string section = std::string(R"({"properties": {"x": )") + schema + "}}";
    const auto document = interpreted(R"({"data": {"eff_schema": {"common": {}, "macos": )" + section + "}}}");
    ASSERT_TRUE(document) << schema;
    const Map tree{{"common", Map()}, {"macos", Map{{"ro", false}, {"v", Map{{"x", fromJson(node)}}}}}};
    EXPECT_EQ(document->effectiveTree({}), tree) << schema;
  }
}

TEST(SettingsDocument, LayersLieOverEachOtherInOrder) {
  const auto document = interpreted(R"({"data": {
    "eff_schema": {
      "common": {"properties": {
        "a": {"type": "integer", "default": 0}, "b": {"type": "integer", "default": 0},
        "c": {"type": "integer", "default": 0}, "d": {"type": "integer", "default": 0},
        "locked": {"type": "integer", "default": 0, "readonly": true}, "broken": {"type": "integer", "default": "x"},
        "on": {"type": "boolean", "default": false}}},
      "macos": {"properties": {"a": {"type": "integer", "default": 0}}}},
    "values": {"common": {"b": 1, "c": 1, "d": 1, "locked": 1, "broken": 1, "unknown": 1, "on": 1}}}})");
  const Map sending =
      mapFromJson(R"({"common": {"c": 2, "d": 2, "locked": 2}, "macos": {"a": 2}, "windows": {"a": 2}})");
  const Map patch = mapFromJson(R"({"common": {"d": 3, "on": "maybe"}, "macos": 3})");
  ASSERT_TRUE(document);
  EXPECT_EQ(document->effectiveTree({&sending, &patch}), mapFromJson(R"({
    "common": {"v": {"a": {"v": 0, "ro": false}, "b": {"v": 1}, "c": {"v": 2}, "d": {"v": 3},
                     "locked": {"v": 0, "ro": true}, "broken": {}, "on": {"v": true}}},
    "macos": {"v": {"a": {"v": 2}}}})"));
  EXPECT_EQ(document->effectiveTree({}).find("macos")->map()->find("ro")->boolean(), false)
      << "a section without values stays as the schema made it";
}

}  // namespace
}  // namespace qlczephra::document
