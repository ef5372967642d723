// What is made of a document's text, compared with a plain reading of the document as a value.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "document/merge.h"
#include "document/settings_document.h"
#include "platform/json/json.h"
#include "tests/support/json_literal.h"
#include "tests/support/random_value.h"
#include "tests/support/seeds.h"
#include "tests/support/settings_document.h"

namespace qlczephra::document {
namespace {

const Map* mapIn(const Map& map, std::string_view key) {
  const Value* value = map.find(key);
  return value == nullptr ? nullptr : value->map();
}

bool isTrueIn(const Map& map, std::string_view key) {
  const Value* value = map.find(key);
  return value != nullptr && value->boolean() == true;
}

std::optional<Value> plainDefault(const Map& leaf) {
  const Value* type = leaf.find("type");
  const Value* found = leaf.find("default");
  const Value value = found == nullptr ? Value(Map()) : *found;
  if (type == nullptr || !type->string()) return std::nullopt;
  if (type->string() == "object") return value;
  if (type->string() == "integer" && value.wholeNumber()) return Value(*value.wholeNumber());
  const bool isOfType = (type->string() == "integer" && value.unsignedInteger()) ||
                        (type->string() == "string" && value.string()) ||
                        (type->string() == "boolean" && value.boolean()) || (type->string() == "array" && value.list());
  return isOfType ? std::optional(value) : std::nullopt;
}

Map plainNode(Value value, const Map& schema) {
  Map node{{"v", std::move(value)}, {"ro", isTrueIn(schema, "readonly")}};
  return isTrueIn(schema, "dynamic") ? node.with("dynamic", true) : node;
}

Map plainGroup(const Map& schema) {
  Map::Builder children;
  for (const auto& [name, property] : *mapIn(schema, "properties")) {
    const Map* inner = property.map();
    Map child;
    if (inner != nullptr && mapIn(*inner, "properties") != nullptr) {
      child = plainGroup(*inner);
    } else if (const auto value = inner == nullptr ? std::nullopt : plainDefault(*inner)) {
      child = plainNode(*value, *inner);
    }
    children.set(name, child);
  }
  return plainNode(children.build(), schema);
}

std::optional<Map> plainTree(const Map& document) {
  const Map* data = mapIn(document, "data");
  const Map* schemas = data == nullptr ? nullptr : mapIn(*data, "eff_schema");
  if (schemas == nullptr || mapIn(*schemas, "common") == nullptr || mapIn(*schemas, "macos") == nullptr) {
    return std::nullopt;
  }
  Map::Builder tree;
  for (const std::string_view section : {"common", "macos", "windows"}) {
    const Map* schema = mapIn(*schemas, section);
    if (schema == nullptr) continue;
    const Map node = mapIn(*schema, "properties") == nullptr ? Map() : plainGroup(*schema);
    const Map* values = mapIn(*data, "values");
    const Map* offered = values == nullptr ? nullptr : mapIn(*values, section);
    tree.set(section, offered == nullptr ? node : mergeValues(*offered, node));
  }
  return tree.build();
}

// Texts like documents: members in any order, some twice, some of another kind than expected.
class Texts {
 public:
  explicit Texts(std::uint64_t seed) : random_(seed, {.nesting = 2, .members = 3}) {}

  std::string document() {
    std::vector<std::string> members;
    for (auto left = random_.below(3); left > 0; --left) add(members, "data", [&] { return data(); });
    add(members, "data", [&] { return data(); });
    return object(std::move(members));
  }

 private:
  std::string data() {
    std::vector<std::string> members;
    for (auto left = once(); left > 0; --left) add(members, "eff_schema", [&] { return schemas(); });
    for (auto left = once(); left > 0; --left) add(members, "values", [&] { return values(); });
    return object(std::move(members));
  }
  std::string schemas() {
    std::vector<std::string> members;
    for (const char* section : {"common", "macos", "windows", "linux"}) {
      for (auto left = once(); left > 0; --left) add(members, section, [&] { return schema(4); });
    }
    return object(std::move(members));
  }
  std::string schema(int levels) {
    std::vector<std::string> members;
    for (auto left = once(); left > 0; --left) {
      if (levels > 0 && random_.below(2) == 0) {
        add(members, "properties", [&] { return properties(levels - 1); });
      }
    }
    const char* types[] = {R"("boolean")", R"("integer")", R"("string")",
                           R"("array")",   R"("object")",  R"("obje\u0063t")"};
    for (auto left = once(); left > 0; --left) add(members, "type", [&] { return types[random_.below(6)]; });
    for (auto left = once(); left > 0; --left) add(members, "default", [&] { return leaf(); });
    for (const char* flag : {"readonly", "dynamic"}) {
      if (random_.below(4) == 0) add(members, flag, [&] { return random_.below(3) == 0 ? "false" : "true"; });
    }
    if (random_.below(3) == 0) add(members, "description", [&] { return any(); });
    return object(std::move(members));
  }
  std::string properties(int levels) {
    std::vector<std::string> members;
    for (auto left = random_.below(6); left > 0; --left) add(members, name(), [&] { return schema(levels); });
    return object(std::move(members));
  }
  std::string values() {
    std::vector<std::string> members;
    for (const char* section : {"common", "macos", "windows", "linux"}) {
      for (auto left = once(); left > 0; --left) add(members, section, [&] { return offered(4); });
    }
    return object(std::move(members));
  }
  std::string offered(int levels) {
    if (levels == 0 || random_.below(5) == 0) return leaf();
    std::vector<std::string> members;
    for (auto left = random_.below(8); left > 0; --left) add(members, name(), [&] { return offered(levels - 1); });
    return object(std::move(members));
  }
  std::string leaf() {
    const char* leaves[] = {"0",
                            "1",
                            "2",
                            "2.0",
                            "1.5",
                            "true",
                            "false",
                            R"("text")",
                            R"("a text of some length")",
                            "[]",
                            "[1]",
                            "{}",
                            R"({"v": 1})",
                            R"({"a": {"v": 2}, "b": 3})",
                            "18446744073709551615",
                            "null"};
    return random_.below(4) == 0 ? any() : leaves[random_.below(std::size(leaves))];
  }
  std::string any() { return test::toJson(random_.value()); }
  const char* name() {
    const char* names[] = {"a", "b", "c", "v", "ro", "dynamic", "a name of some length", "a name of some lengts", ""};
    return names[random_.below(std::size(names))];
  }
  // Mostly one.
  std::size_t once() {
    const std::size_t chance = random_.below(12);
    return chance == 0 ? 0 : chance == 1 ? 2 : 1;
  }
  template <typename Content>
  void add(std::vector<std::string>& members, std::string_view key, Content content) {
    members.push_back('"' + std::string(key) + "\": " + (random_.below(30) == 0 ? any() : std::string(content())));
  }
  std::string object(std::vector<std::string> members) {
    if (random_.below(3) == 0) members.push_back("\"x\": " + any());
    std::string text;
    while (!members.empty()) {
      const std::size_t which = random_.below(members.size());
      text += (text.empty() ? "" : ", ") + members[which];
      members.erase(members.begin() + static_cast<std::ptrdiff_t>(which));
    }
    return "{" + text + "}";
  }

  test::RandomValues random_;
};

TEST(Interpretation, GivesWhatAPlainReadingGives) {
  constexpr std::uint64_t seeds = test::seedsOf(4'000);
  std::uint64_t documents = 0;
  for (std::uint64_t seed = 0; seed < seeds; ++seed) {
    const std::string text = Texts(seed).document();
    const auto expected = plainTree(test::mapFromJson(text));
    const auto document = test::interpreted(text);
    ASSERT_EQ(document.has_value(), expected.has_value()) << "seed " << seed << ": " << text;
    if (!document) continue;
    ++documents;
    ASSERT_EQ(document->effectiveTree({}), *expected) << "seed " << seed << ": " << text;
  }
  EXPECT_GT(documents, seeds / 4);
}

// A document is refused as a whole wherever its text is wrong.
TEST(Interpretation, TakesNoTextThatIsNoJson) {
  const std::string text = R"({"x": [1.5, {"y": null}], "data": {"eff_schema": {
    "common": {"properties": {"a": {"type": "integer", "description": "caf\u00e9", "default": 5, "readonly": false},
                              "b": {"properties": {"c": {"type": "object", "default": {"d": [true]}}}}, "e": {}}},
    "macos": {}}, "values": {"common": {"a": 6, "b": {"c": {"d": "e"}}}}}})";
  ASSERT_TRUE(test::interpreted(text));
  const char* replacements[] = {"", ",", "}", "]", "{", "\"", ":", "0", "\\", "x", "\n"};
  for (std::size_t at = 0; at < text.size(); ++at) {
    for (const char* replacement : replacements) {
      std::string damaged = text;
      damaged.replace(at, 1, replacement);
      const auto read = json::read(damaged);
      const auto* value = std::get_if<Value>(&read);
      const auto interpreted = SettingsDocument::interpret(damaged);
      const auto* fault = std::get_if<NoSettings>(&interpreted);
      ASSERT_EQ(fault == nullptr || fault->isObject, value != nullptr && value->map() != nullptr) << damaged;
    }
  }
}

}  // namespace
}  // namespace qlczephra::document
