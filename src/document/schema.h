// What the schemas of a settings document say, without what nobody uses.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "qlczephra/value.h"

namespace qlczephra::document {

// A property as its schema describes it.
struct PropertySchema {
  enum class Shape : std::uint8_t {
    placeholder,  // without usable schema
    leaf,
    group,
  };
  Value name;
  Value byDefault;                  // of a leaf; of the kind that its type wants
  std::uint32_t firstProperty = 0;  // of a group, among the Schema's
  std::uint32_t properties = 0;
  Shape shape = Shape::placeholder;
  bool isReadonly = false;
  bool isDynamic = false;
};

// Properties of groups, those of one group side by side and in the order of their names.
class Schema {
 public:
  [[nodiscard]] std::span<PropertySchema> propertiesOf(const PropertySchema& group) {
    return std::span(properties_).subspan(group.firstProperty, group.properties);
  }
  // Makes what stands in `found` from `first` on, in any order, the properties of `group`; of equal names the last
  // counts. They are gone from `found` then.
  void addProperties(PropertySchema& group, std::vector<PropertySchema>& found, std::size_t first);

 private:
  std::vector<PropertySchema> properties_;
};

}  // namespace qlczephra::document
