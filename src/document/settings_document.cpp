#include "document/settings_document.h"

#include <string_view>
#include <utility>
#include <vector>

#include "document/merge.h"
#include "document/setting_node.h"

namespace qlczephra::document {

namespace {

constexpr std::string_view dataKey = "data";
constexpr std::string_view schemaKey = "eff_schema";
constexpr std::string_view valuesKey = "values";
constexpr std::string_view propertiesKey = "properties";
constexpr std::string_view readonlySchemaKey = "readonly";
constexpr std::string_view typeKey = "type";
constexpr std::string_view defaultKey = "default";

constexpr std::string_view requiredSections[] = {"common", "macos"};
constexpr std::string_view optionalSection = "windows";

Map settingNode(Value value, const Map& schema) {
  Map::Builder node;
  if (isTrueUnder(schema, dynamicKey)) node.set(dynamicKey, true);
  node.set(readonlyKey, isTrueUnder(schema, readonlySchemaKey));
  node.set(valueKey, std::move(value));
  return node.build();
}

// The default value of a schema leaf, none when its type is unknown or the default is not of that type.
std::optional<Value> parseSchemaValue(const Map& leaf) {
  const Value* typeValue = leaf.find(typeKey);
  const std::optional<std::string_view> type = typeValue == nullptr ? std::nullopt : typeValue->string();
  if (!type) return std::nullopt;
  const Value* given = leaf.find(defaultKey);
  const Value value = given == nullptr ? Value(Map()) : *given;

  if (type == "object") return value;
  if (type == "integer") {
    if (const auto whole = value.wholeNumber()) return Value(*whole);
    if (value.unsignedInteger()) return value;
    return std::nullopt;
  }
  const auto ifOf = [&](Value::Kind kind) { return value.kind() == kind ? std::optional(value) : std::nullopt; };
  if (type == "string") return ifOf(Value::Kind::string);
  if (type == "boolean") return ifOf(Value::Kind::boolean);
  if (type == "array") return ifOf(Value::Kind::list);
  return std::nullopt;
}

// The node of a property that is no group.
Value parseLeaf(const Value& property) {
  const Map* schema = property.map();
  if (schema == nullptr) return Map();
  std::optional<Value> value = parseSchemaValue(*schema);
  if (!value) return Map();
  return settingNode(*std::move(value), *schema);
}

// `node` with the values of one section laid over it, or `node` when there are none for it.
Map layOver(const Map& node, const Map& layer, std::string_view section) {
  const Map* values = mapUnder(layer, section);
  return values == nullptr ? node : mergeValues(*values, node);
}

}  // namespace

Map parseObject(const Map& schema) {
  // Groups that are open; on the heap, because schemas may nest deeper than a thread has stack.
  struct Level {
    Level(const Map& group, const Map& properties)
        : schema(&group), property(properties.begin()), end(properties.end()) {
      children.reserve(properties.size());
    }
    void take(Value node) {
      children.setShared(property.sharedKey(), std::move(node));
      ++property;
    }
    const Map* schema;
    Map::const_iterator property, end;
    Map::Builder children;
  };
  const Map* properties = mapUnder(schema, propertiesKey);
  if (properties == nullptr) return {};
  std::vector<Level> levels;
  levels.emplace_back(schema, *properties);
  for (;;) {
    Level& level = levels.back();
    if (level.property == level.end) {
      Map node = settingNode(level.children.build(), *level.schema);
      levels.pop_back();
      if (levels.empty()) return node;
      levels.back().take(std::move(node));
      continue;
    }
    const Value& property = (*level.property).value;
    const Map* inner = property.map() == nullptr ? nullptr : mapUnder(*property.map(), propertiesKey);
    if (inner != nullptr) {
      levels.emplace_back(*property.map(), *inner);
    } else {
      level.take(parseLeaf(property));
    }
  }
}

std::optional<SettingsDocument> SettingsDocument::interpret(const Map& document) {
  const Map* data = mapUnder(document, dataKey);
  const Map* schemas = data == nullptr ? nullptr : mapUnder(*data, schemaKey);
  if (schemas == nullptr) return std::nullopt;

  Map::Builder nodes;
  for (const std::string_view section : requiredSections) {
    const Map* schema = mapUnder(*schemas, section);
    if (schema == nullptr) return std::nullopt;
    nodes.set(section, parseObject(*schema));
  }
  if (const Map* schema = mapUnder(*schemas, optionalSection)) nodes.set(optionalSection, parseObject(*schema));

  const Map* values = mapUnder(*data, valuesKey);
  return SettingsDocument(nodes.build(), values == nullptr ? Map() : *values);
}

Map SettingsDocument::effectiveTree(std::initializer_list<const Map*> changes) const {
  Map::Builder tree;
  for (auto section = nodes_.begin(); section != nodes_.end(); ++section) {
    const auto [name, node] = *section;
    Map effective = layOver(*node.map(), values_, name);
    for (const Map* layer : changes) effective = layOver(effective, *layer, name);
    tree.setShared(section.sharedKey(), std::move(effective));
  }
  return tree.build();
}

}  // namespace qlczephra::document
