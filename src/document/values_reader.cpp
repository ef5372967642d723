#include "document/values_reader.h"

#include <algorithm>

#include "document/json_object_reader.h"
#include "value/key_compare.h"

namespace qlczephra::document {

namespace {

// Null when there is none of the name; it is probably the expected one.
PropertySchema* propertyNamed(std::span<PropertySchema> properties, std::size_t expected, std::string_view name) {
  if (properties.empty()) return nullptr;
  if (properties[expected].name.string() == name) return &properties[expected];
  const KeyProbe probe(name);
  const auto found = std::lower_bound(
      properties.begin(), properties.end(), probe,
      [](const PropertySchema& property, const KeyProbe& wanted) { return wanted.order(property.name) < 0; });
  return found == properties.end() || probe.order(found->name) != 0 ? nullptr : &*found;
}

}  // namespace

bool ValuesReader::read(Schema& schema, PropertySchema& section, std::uint32_t visit) {
  schema_ = &schema;
  bool opened = false;
  // Only at the top a read-only group that is dynamic takes values: nothing around it keeps them away.
  if (!readOffered(section, visit, section.isReadonly && !section.isDynamic, opened)) return false;
  return !opened || readNestedMembers(
                        tokens_, values_,
                        [this](std::string_view key, bool& openedInside) {
                          Level& level = levels_.back();
                          PropertySchema* const property = propertyNamed(level.properties, level.expected, key);
                          if (property == nullptr) return values_.skip(depth());
                          level.expected = property->following;
                          return readOffered(*property, level.visit, property->isReadonly, openedInside);
                        },
                        [this] {
                          levels_.pop_back();
                          return levels_.empty();
                        });
}

// Reads what is offered to a property, or only the bracket of a map that has levels of its own, which is then `opened`.
bool ValuesReader::readOffered(PropertySchema& property, std::uint32_t visit, bool isReadonly, bool& opened) {
  using Shape = PropertySchema::Shape;
  property.offeredIn = 0;
  if (isReadonly || property.shape == Shape::placeholder) return values_.skip(depth());
  const bool isPlainGroup = property.shape == Shape::group && !property.isDynamic;
  if (isPlainGroup) {
    if (!tokens_.takeIf('{')) return values_.skip(depth());
    open(property);
    opened = true;
  } else if (!values_.read(property.offered, depth())) {
    return false;
  }
  property.offeredIn = visit;
  return true;
}

void ValuesReader::open(PropertySchema& group) {
  group.visit = ++lastVisit_;
  levels_.push_back({schema_->propertiesOf(group), group.visit, group.firstInText});
}

// Maps around what is read in the innermost level.
std::size_t ValuesReader::depth() const noexcept {
  return depthOfSections + levels_.size();
}

}  // namespace qlczephra::document
