// Settings of a test, written as plain JSON, as the tree that a manager makes of them.
#pragma once

#include <string_view>

#include "tests/support/json_literal.h"
#include "tests/support/settings_document.h"

namespace qlczephra::test {

// The schema under which a value can stand: an object is a group, everything else a setting with a neutral default.
inline Map schemaFor(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::map: {
      Map::Builder properties;
      for (const auto [name, member] : *value.map()) properties.set(name, schemaFor(member));
      return {{"properties", properties.build()}};
    }
    case Value::Kind::list:
      return {{"type", "array"}, {"default", List()}};
    case Value::Kind::string:
      return {{"type", "string"}, {"default", ""}};
    case Value::Kind::boolean:
      return {{"type", "boolean"}, {"default", false}};
    default:
      return {{"type", "integer"}, {"default", 0}};
  }
}

// The effective settings of a document with these values and a schema that fits them. Sections may be missing.
inline Map treeFor(std::string_view settings) {
  Map::Builder schemas;
  const Map values = mapFromJson(settings);
  for (const char* section : {"common", "macos", "windows"}) {
    const Value* value = values.find(section);
    schemas.set(section, schemaFor(value == nullptr ? Value(Map()) : *value));
  }
  const Map document{{"data", Map{{"eff_schema", schemas.build()}, {"values", values}}}};
  return interpreted(document)->effectiveTree({});
}

}  // namespace qlczephra::test
