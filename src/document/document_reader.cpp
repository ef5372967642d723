#include "document/document_reader.h"

#include <algorithm>
#include <utility>

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

// Maps around the schema of a section: the document, its data, and the schemas.
constexpr std::size_t depthOfSections = 3;

}  // namespace

bool DocumentReader::read(DocumentContent& content) {
  content_ = &content;
  if (!tokens_.takeIf('{')) {
    Value other;
    return values_.read(other, 0) && tokens_.fail("no object at its top");
  }
  const bool isRead = readMembers([&](std::string_view key) {
    if (key != dataKey) return values_.skip(1);
    content = {};
    return tokens_.takeIf('{') ? readData() : values_.skip(1);
  });
  return isRead && (tokens_.isAtEnd() || tokens_.fail("something after the text's end"));
}

// Reads the map whose bracket was just taken; `member` reads the value of each key.
template <typename Member>
bool DocumentReader::readMembers(Member member) {
  if (tokens_.takeIf('}')) return true;
  for (;;) {
    std::string_view key;
    if (!tokens_.takeKey(key) || !member(key) || !values_.count()) return false;
    if (const char next = tokens_.take(); next != ',') return next == '}' || failAtComma();
  }
}

bool DocumentReader::failAtComma() {
  return tokens_.fail("a comma or a closing bracket is missing");
}

bool DocumentReader::readData() {
  return readMembers([&](std::string_view key) {
    if (key == schemaKey) {
      content_->sections = {};
      return tokens_.takeIf('{') ? readSchemas() : values_.skip(2);
    }
    if (key != valuesKey) return values_.skip(2);
    Value values;
    if (!values_.read(values, 2)) return false;
    content_->values = values.map() == nullptr ? Map() : *values.map();
    return true;
  });
}

bool DocumentReader::readSchemas() {
  return readMembers([&](std::string_view key) {
    const auto known = std::find_if(sectionNames.begin(), sectionNames.end(),
                                    [key](const SectionName& section) { return section.name == key; });
    if (known == sectionNames.end()) return values_.skip(depthOfSections);
    auto& section = content_->sections[static_cast<std::size_t>(known - sectionNames.begin())];
    section.reset();
    return tokens_.takeIf('{') ? readSection(section) : values_.skip(depthOfSections);
  });
}

// Schemas may nest deeper than a thread has stack, so their maps that are open stand in levels_.
bool DocumentReader::readSection(std::optional<PropertySchema>& section) {
  if (!open(Level::Map::schema, {})) return false;
  bool isFirst = true;
  for (;;) {
    bool hasEnded = isFirst && tokens_.takeIf('}');
    if (!hasEnded) {
      isFirst = false;
      if (!readMember(isFirst)) return false;
      if (isFirst) continue;
    }
    // A member is complete, or all of the innermost map, which is a member of the one around it.
    for (;;) {
      if (hasEnded && close(section)) return true;
      if (!values_.count()) return false;
      const char next = tokens_.take();
      if (next == ',') break;
      if (next != '}') return failAtComma();
      hasEnded = true;
    }
    isFirst = false;
  }
}

// Reads a member of the innermost map, or only the bracket of one that has levels of its own, which is then `opened`.
bool DocumentReader::readMember(bool& opened) {
  std::string_view key;
  if (!tokens_.takeKey(key)) return false;
  Level& level = levels_.back();
  if (level.map == Level::Map::properties) {
    PropertySchema property;
    property.name = names_.keyFor(key);
    if ((opened = tokens_.takeIf('{'))) return open(Level::Map::schema, std::move(property));
    found_.push_back(std::move(property));
    return values_.skip(depth());
  }
  PropertySchema& property = level.property;
  if (key == typeKey) {
    level.type = Type::unknown;
    return tokens_.takeIf('"') ? readType(level.type) : values_.skip(depth());
  }
  if (key == defaultKey) return values_.read(property.byDefault, depth());
  if (key == readonlySchemaKey) return readFlag(property.isReadonly);
  if (key == dynamicKey) return readFlag(property.isDynamic);
  if (key == propertiesKey) {
    property.shape = PropertySchema::Shape::placeholder;
    if ((opened = tokens_.takeIf('{'))) return open(Level::Map::properties, {});
  }
  return values_.skip(depth());
}

bool DocumentReader::readType(Type& type) {
  constexpr std::pair<std::string_view, Type> types[] = {{"boolean", Type::boolean},
                                                         {"integer", Type::integer},
                                                         {"string", Type::string},
                                                         {"array", Type::array},
                                                         {"object", Type::object}};
  std::string_view word;
  if (!tokens_.readString(word)) return false;
  for (const auto& [name, meaning] : types) {
    if (word == name) type = meaning;
  }
  return true;
}

bool DocumentReader::readFlag(bool& flag) {
  Value value;
  if (!values_.read(value, depth())) return false;
  flag = value.boolean() == true;
  return true;
}

// Maps around what is read in the innermost level.
std::size_t DocumentReader::depth() const noexcept {
  return depthOfSections + levels_.size();
}

bool DocumentReader::open(Level::Map map, PropertySchema property) {
  if (depth() >= limits::documentNesting) return tokens_.failBeyondLimit("nested too deep");
  // What a leaf holds whose schema names no default.
  if (map == Level::Map::schema) property.byDefault = Map();
  levels_.push_back({map, std::move(property), Type::unknown, found_.size()});
  return true;
}

// Ends the innermost map. True when it was the schema of a section, which is then in `section`.
bool DocumentReader::close(std::optional<PropertySchema>& section) {
  Level level = std::move(levels_.back());
  levels_.pop_back();
  PropertySchema& property = level.property;
  if (level.map == Level::Map::properties) {
    PropertySchema& group = levels_.back().property;
    group.shape = PropertySchema::Shape::group;
    content_->schema.addProperties(group, found_, level.before);
    return false;
  }
  if (property.shape != PropertySchema::Shape::group && takesDefault(level.type, property.byDefault)) {
    property.shape = PropertySchema::Shape::leaf;
  }
  if (levels_.empty()) {
    section = std::move(property);
    return true;
  }
  found_.push_back(std::move(property));
  return false;
}

// Whether the default of a leaf is of its type; it is then made the one that the leaf holds.
bool DocumentReader::takesDefault(Type type, Value& byDefault) {
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
