#include "benchmarks/interpret/careful_nlohmann.h"

#include <string>
#include <utility>

namespace qlczephra::bench {

namespace {

using Json = nlohmann::json;

Json* memberOf(Json& object, const char* key) {
  const auto found = object.find(key);
  return found == object.end() ? nullptr : &*found;
}

Json* objectIn(Json& object, const char* key) {
  Json* member = memberOf(object, key);
  return member != nullptr && member->is_object() ? member : nullptr;
}

bool isTrueIn(Json& object, const char* key) {
  const Json* member = memberOf(object, key);
  return member != nullptr && member->is_boolean() && member->get<bool>();
}

Json nodeOf(Json value, Json& schema) {
  Json node = Json::object();
  if (isTrueIn(schema, "dynamic")) node.emplace("dynamic", true);
  node.emplace("ro", isTrueIn(schema, "readonly"));
  node.emplace("v", std::move(value));
  return node;
}

bool isOfType(const Json& value, const std::string& type) {
  if (type == "object") return true;
  if (type == "integer") return value.is_number_integer();
  if (type == "string") return value.is_string();
  if (type == "boolean") return value.is_boolean();
  return type == "array" && value.is_array();
}

Json nodeOfLeaf(Json& schema) {
  if (!schema.is_object()) return Json::object();
  const Json* type = memberOf(schema, "type");
  if (type == nullptr || !type->is_string()) return Json::object();
  Json* byDefault = memberOf(schema, "default");
  Json value = byDefault == nullptr ? Json::object() : std::move(*byDefault);
  if (!isOfType(value, type->get_ref<const std::string&>())) return Json::object();
  return nodeOf(std::move(value), schema);
}

Json nodeOfGroup(Json& schema, Json& properties) {
  Json children = Json::object();
  auto& members = children.get_ref<Json::object_t&>();
  for (auto& [name, property] : properties.get_ref<Json::object_t&>()) {
    Json* inner = property.is_object() ? objectIn(property, "properties") : nullptr;
    members.emplace_hint(members.end(), name, inner != nullptr ? nodeOfGroup(property, *inner) : nodeOfLeaf(property));
  }
  return nodeOf(std::move(children), schema);
}

// Whether a leaf takes the value, which then stands in `current`.
bool takes(Json& current, Json& value) {
  if (current.is_number_integer() || current.is_string() || current.is_array()) {
    current = std::move(value);
    return true;
  }
  if (!current.is_boolean()) return false;
  if (value.is_boolean()) {
    current = value;
    return true;
  }
  if (!value.is_number_integer() || (value != 0 && value != 1)) return false;
  current = value == 1;
  return true;
}

// A node that took something holds its value alone.
void layOver(Json& node, Json& values) {
  Json* current = memberOf(node, "v");
  if (current == nullptr || isTrueIn(node, "ro")) return;
  if (current->is_object() && values.is_object()) {
    if (isTrueIn(node, "dynamic")) {
      current->update(values);
    } else {
      auto& offered = values.get_ref<Json::object_t&>();
      for (auto& [name, child] : current->get_ref<Json::object_t&>()) {
        const auto value = offered.find(name);
        if (value != offered.end() && child.is_object()) layOver(child, value->second);
      }
    }
  } else if (!takes(*current, values)) {
    return;
  }
  node.erase("ro");
  node.erase("dynamic");
}

}  // namespace

nlohmann::json effectiveTreeWithNlohmann(std::string_view document) {
  Json parsed = Json::parse(document, nullptr, false);
  if (!parsed.is_object()) return nullptr;
  Json* data = objectIn(parsed, "data");
  Json* schemas = data == nullptr ? nullptr : objectIn(*data, "eff_schema");
  if (schemas == nullptr) return nullptr;
  Json* values = objectIn(*data, "values");
  Json tree = Json::object();
  for (const char* section : {"common", "macos", "windows"}) {
    Json* schema = objectIn(*schemas, section);
    Json* properties = schema == nullptr ? nullptr : objectIn(*schema, "properties");
    if (properties == nullptr) continue;
    Json node = nodeOfGroup(*schema, *properties);
    if (Json* laidOver = values == nullptr ? nullptr : objectIn(*values, section)) layOver(node, *laidOver);
    tree.emplace(section, std::move(node));
  }
  return tree;
}

}  // namespace qlczephra::bench
