#include "document/settings_tree_builder.h"

#include <cstddef>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "document/merge.h"
#include "document/node_builder.h"

namespace qlczephra::document {

namespace {

// Works on a stack of its own: schemas may nest deeper than a thread has stack.
class Building {
 public:
  explicit Building(Schema& schema) : schema_(schema) {}

  Map build(const PropertySchema& section, bool isOffered) {
    open(section, isOffered);
    for (;;) {
      Level& level = levels_[depth_ - 1];
      if (level.next != level.properties.size()) {
        add(level, level.properties[level.next++]);
        continue;
      }
      Map node = close(level);
      if (--depth_ == 0) return node;
      Level& around = levels_[depth_ - 1];
      around.children.setShared(std::move(around.properties[around.next - 1].name), std::move(node));
    }
  }

 private:
  // Levels stay when their group is closed, so that the next one at this depth finds a buffer of the right size.
  struct Level {
    const PropertySchema* group = nullptr;
    bool isOffered = false;  // values, to the group or to its properties
    std::span<PropertySchema> properties;
    std::size_t next = 0;
    Map::Builder children;
  };

  void open(const PropertySchema& group, bool isOffered) {
    if (depth_ == levels_.size()) levels_.emplace_back();
    Level& level = levels_[depth_++];
    level.group = &group;
    level.isOffered = isOffered;
    level.properties = schema_.propertiesOf(group);
    level.next = 0;
  }

  // Adds a property to its group, or opens it when it is one itself.
  void add(Level& level, PropertySchema& property) {
    const bool isOffered = level.isOffered && property.isOfferedIn(level.group->visit);
    switch (property.shape) {
      case PropertySchema::Shape::placeholder:
        level.children.setShared(std::move(property.name), Map());
        break;
      case PropertySchema::Shape::leaf:
        level.children.setShared(std::move(property.name), leaf(property, isOffered));
        break;
      case PropertySchema::Shape::group:
        open(property, isOffered);
        break;
    }
  }

  Map leaf(PropertySchema& property, bool isOffered) {
    if (!isOffered) return plain(std::move(property.byDefault), property);
    if (property.byDefault.map() != nullptr) {
      Map node = plain(std::move(property.byDefault), property);
      return property.offered.map() == nullptr ? node : mergeValues(*property.offered.map(), node);
    }
    std::optional<Value> accepted = acceptedByLeaf(property.byDefault, property.offered);
    return accepted ? nodes_.holding(*std::move(accepted)) : plain(std::move(property.byDefault), property);
  }

  Map close(Level& level) {
    const PropertySchema& group = *level.group;
    Map children = level.children.build();
    if (!level.isOffered) return plain(std::move(children), group);
    if (!group.isDynamic) return nodes_.holding(std::move(children));
    if (group.offered.map() == nullptr) return plain(std::move(children), group);
    return nodes_.holding(withEveryValue(*group.offered.map(), children));
  }

  Map plain(Value value, const PropertySchema& property) {
    return nodes_.node(std::move(value), property.isReadonly, property.isDynamic);
  }

  Schema& schema_;
  NodeBuilder nodes_;
  std::vector<Level> levels_;
  std::size_t depth_ = 0;
};

}  // namespace

Map buildSettingsTree(Schema& schema, const PropertySchema& section, bool isOffered) {
  if (section.shape != PropertySchema::Shape::group) return {};
  return Building(schema).build(section, isOffered);
}

}  // namespace qlczephra::document
