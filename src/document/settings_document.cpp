#include "document/settings_document.h"

#include <string_view>
#include <utility>
#include <vector>

#include "document/merge.h"
#include "document/node_builder.h"
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

// What a schema says of one property. Read in one walk, which for the few keys that there are is much less than a
// search for each.
struct PropertySchema {
  explicit PropertySchema(const Map& schema) {
    for (const auto [key, value] : schema) {
      if (key == typeKey) {
        type = value.string();
      } else if (key == defaultKey) {
        byDefault = &value;
      } else if (key == readonlySchemaKey) {
        isReadonly = value.boolean() == true;
      } else if (key == dynamicKey) {
        isDynamic = value.boolean() == true;
      } else if (key == propertiesKey) {
        properties = value.map();
      }
    }
  }
  std::optional<std::string_view> type;
  const Value* byDefault = nullptr;
  const Map* properties = nullptr;
  bool isReadonly = false;
  bool isDynamic = false;
};

// The default value of a schema leaf, none when its type is unknown or the default is not of that type.
std::optional<Value> parseSchemaValue(const PropertySchema& leaf) {
  if (!leaf.type) return std::nullopt;
  const std::string_view type = *leaf.type;
  const Value value = leaf.byDefault == nullptr ? Value(Map()) : *leaf.byDefault;

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

// `node` with the values of one section laid over it, or `node` when there are none for it.
Map layOver(const Map& node, const Map& layer, std::string_view section) {
  const Map* values = mapUnder(layer, section);
  return values == nullptr ? node : mergeValues(*values, node);
}

}  // namespace

Map parseObject(const Map& schema) {
  // Groups that are open; on the heap, because schemas may nest deeper than a thread has stack.
  struct Level {
    explicit Level(const PropertySchema& group)
        : schema(group), property(group.properties->begin()), end(group.properties->end()) {
      children.reserve(group.properties->size());
    }
    void take(Value node) {
      children.setShared(property.sharedKey(), std::move(node));
      ++property;
    }
    PropertySchema schema;
    Map::const_iterator property, end;
    Map::Builder children;
  };
  NodeBuilder nodes;
  const auto nodeOf = [&nodes](Value value, const PropertySchema& property) {
    return nodes.node(std::move(value), property.isReadonly, property.isDynamic);
  };
  const PropertySchema outermost(schema);
  if (outermost.properties == nullptr) return {};
  std::vector<Level> levels;
  levels.emplace_back(outermost);
  for (;;) {
    Level& level = levels.back();
    if (level.property == level.end) {
      Map node = nodeOf(level.children.build(), level.schema);
      levels.pop_back();
      if (levels.empty()) return node;
      levels.back().take(std::move(node));
      continue;
    }
    const Map* inner = (*level.property).value.map();
    if (inner == nullptr) {
      level.take(Map());
      continue;
    }
    const PropertySchema property(*inner);
    if (property.properties != nullptr) {
      levels.emplace_back(property);
    } else {
      std::optional<Value> value = parseSchemaValue(property);
      level.take(value ? nodeOf(*std::move(value), property) : Map());
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
