// What the schemas of a settings document say, without what nobody uses, and what its values offer to them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "qlczephra/value.h"
#include "value/key_compare.h"

namespace qlczephra::document {

// A property as its schema describes it. The root sections are described in the same way.
struct PropertySchema {
  enum class Shape : std::uint8_t {
    placeholder,  // without usable schema
    leaf,
    group,
  };
  Value name;
  Value byDefault = Map();          // of a leaf; of the kind that its type wants
  Value offered;                    // the value for a leaf or a dynamic group
  std::uint32_t firstProperty = 0;  // of a group, among the Schema's
  std::uint32_t properties = 0;
  // A document may offer values to a group more than once, of which the last count. So each time has a number, and what
  // is offered to a property counts if it was in the last visit of the group around it. 0 is never.
  std::uint32_t visit = 0;      // of a group: the last
  std::uint32_t offeredIn = 0;  // of the group around the property
  // In the text the properties of a group stand in an order that is mostly that of the values offered to them.
  std::uint32_t firstInText = 0;  // of a group: which of its properties comes first
  std::uint32_t following = 0;    // which of the same group comes next
  Shape shape = Shape::placeholder;
  bool isReadonly = false;
  bool isDynamic = false;

  [[nodiscard]] bool isOfferedIn(std::uint32_t visitOfGroup) const noexcept {
    return visitOfGroup != 0 && offeredIn == visitOfGroup;
  }
};

// Properties of groups, those of one group side by side and in the order of their names.
class Schema {
 public:
  [[nodiscard]] std::span<PropertySchema> propertiesOf(const PropertySchema& group) {
    return std::span(properties_).subspan(group.firstProperty, group.properties);
  }
  // Makes what stands in `found` behind `group` its properties; of equal names the last counts. They are gone from
  // `found` then.
  void addProperties(std::vector<PropertySchema>& found, std::size_t group);

  void reserve(std::size_t properties) { properties_.reserve(properties); }
  // Keeps its memory: a document may bring its schemas again and again.
  void clear() noexcept { properties_.clear(); }

 private:
  struct Name {
    KeyWords words;
    std::uint32_t inText;  // which property of the group has it
  };
  std::vector<PropertySchema> properties_;
  std::vector<Name> sorted_;
  std::vector<std::uint32_t> places_;  // of properties in the text, in their group
};

}  // namespace qlczephra::document
