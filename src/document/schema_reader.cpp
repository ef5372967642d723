#include "document/schema_reader.h"

#include <utility>

#include "document/json_object_reader.h"
#include "document/setting_node.h"

namespace qlczephra::document {

namespace {

constexpr std::string_view propertiesKey = "properties";
constexpr std::string_view readonlySchemaKey = "readonly";
constexpr std::string_view typeKey = "type";
constexpr std::string_view defaultKey = "default";

}  // namespace

bool SchemaReader::read(Schema& schema, std::optional<PropertySchema>& section) {
  found_.emplace_back();
  return open(Level::Map::schema, 0) &&
         readNestedMembers(
             tokens_, values_,
             [this](std::string_view key, bool& opened) {
               return levels_.back().map == Level::Map::schema ? readMember(key, opened) : readProperty(key, opened);
             },
             [&] { return close(schema, section); });
}

// Reads a member of a property's schema, or only the bracket of its properties, which are then `opened`.
bool SchemaReader::readMember(std::string_view key, bool& opened) {
  Level& level = levels_.back();
  PropertySchema& property = found_[level.property];
  if (key == typeKey) return readType(level.type);
  if (key == defaultKey) return values_.read(property.byDefault, depth());
  if (key == readonlySchemaKey) return readFlag(property.isReadonly);
  if (key == dynamicKey) return readFlag(property.isDynamic);
  if (key == propertiesKey) {
    property.shape = PropertySchema::Shape::placeholder;
    if ((opened = tokens_.takeIf('{'))) return open(Level::Map::properties, level.property);
  }
  return values_.skip(depth());
}

// Reads a property of a group, or only the bracket of its schema, which is then `opened`.
bool SchemaReader::readProperty(std::string_view name, bool& opened) {
  found_.emplace_back().name = names_.intern(name);
  opened = tokens_.takeIf('{');
  return opened ? open(Level::Map::schema, found_.size() - 1) : values_.skip(depth());
}

bool SchemaReader::readType(Type& type) {
  type = Type::unknown;
  if (!tokens_.takeIf('"')) return values_.skip(depth());
  std::string_view word;
  if (!tokens_.readString(word)) return false;
  // No two begin alike.
  const auto ifIs = [&](std::string_view name, Type meaning) {
    if (word == name) type = meaning;
  };
  switch (word.empty() ? '\0' : word[0]) {
    case 'b':
      ifIs("boolean", Type::boolean);
      break;
    case 'i':
      ifIs("integer", Type::integer);
      break;
    case 's':
      ifIs("string", Type::string);
      break;
    case 'a':
      ifIs("array", Type::array);
      break;
    case 'o':
      ifIs("object", Type::object);
      break;
    default:
      break;
  }
  return true;
}

bool SchemaReader::readFlag(bool& flag) {
  Value value;
  if (!values_.read(value, depth())) return false;
  flag = value.boolean() == true;
  return true;
}

// Maps around what is read in the innermost level.
std::size_t SchemaReader::depth() const noexcept {
  return depthOfSections + levels_.size();
}

bool SchemaReader::open(Level::Map map, std::size_t property) {
  if (depth() >= limits::documentNesting) return tokens_.failBeyondLimit("nested too deep");
  levels_.push_back({map, Type::unknown, property});
  return true;
}

// Ends the innermost map. True when it was the schema of the section.
bool SchemaReader::close(Schema& schema, std::optional<PropertySchema>& section) {
  const Level level = levels_.back();
  levels_.pop_back();
  PropertySchema& property = found_[level.property];
  if (level.map == Level::Map::properties) {
    property.shape = PropertySchema::Shape::group;
    schema.addProperties(found_, level.property);
    return false;
  }
  if (property.shape != PropertySchema::Shape::group && takesDefault(level.type, property.byDefault)) {
    property.shape = PropertySchema::Shape::leaf;
  }
  if (!levels_.empty()) return false;
  section = std::move(property);
  found_.clear();
  return true;
}

// Whether the default of a leaf is of its type; it is then made the one that the leaf holds.
bool SchemaReader::takesDefault(Type type, Value& byDefault) {
  switch (type) {
    case Type::object:
      return true;
    case Type::integer:
      if (const auto whole = byDefault.wholeNumber()) {
        byDefault = *whole;
        return true;
      }
      return byDefault.unsignedInteger().has_value();
    case Type::string:
      return byDefault.kind() == Value::Kind::string;
    case Type::boolean:
      return byDefault.kind() == Value::Kind::boolean;
    case Type::array:
      return byDefault.kind() == Value::Kind::list;
    case Type::unknown:
      break;
  }
  return false;
}

}  // namespace qlczephra::document
