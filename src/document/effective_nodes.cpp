#include "document/effective_nodes.h"

#include <cstddef>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "document/merge.h"
#include "document/node_builder.h"
#include "value/key_order.h"

namespace qlczephra::document {

namespace {

// Works on a stack of its own: schemas may nest deeper than a thread has stack.
class Building {
 public:
  explicit Building(Schema& schema) : schema_(schema) {}

  Map build(const PropertySchema& section, const Map* values) {
    // Only here a read-only group that is dynamic takes values: nothing around it keeps them away.
    open(section, values, values == nullptr ? Group::kept : section.isDynamic ? Group::dynamic : groupOf(section));
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
  // How values change a group.
  enum class Group : std::uint8_t {
    kept,      // not at all
    laidOver,  // each child takes the value of its name
    dynamic,   // it takes all values as they come
  };
  static Group groupOf(const PropertySchema& group) {
    return group.isReadonly ? Group::kept : group.isDynamic ? Group::dynamic : Group::laidOver;
  }

  // Levels stay when their group is closed, so that the next one at this depth finds a buffer of the right size.
  struct Level {
    const PropertySchema* group = nullptr;
    std::span<PropertySchema> properties;
    std::size_t next = 0;
    Group how = Group::kept;
    const Map* values = nullptr;
    Map::const_iterator offered;
    Map::Builder children;

    // What is offered to a property, the ones before it in order having been asked for; null for nothing.
    const Value* valueFor(const Value& name) {
      if (how != Group::laidOver) return nullptr;
      for (; offered != values->end(); ++offered) {
        const int order = compareKeys(offered.sharedKey(), name);
        if (order >= 0) return order == 0 ? &(*offered).value : nullptr;
      }
      return nullptr;
    }
  };

  void open(const PropertySchema& group, const Map* values, Group how) {
    if (depth_ == levels_.size()) levels_.emplace_back();
    Level& level = levels_[depth_++];
    level.group = &group;
    level.properties = schema_.propertiesOf(group);
    level.next = 0;
    level.how = how;
    level.values = values;
    if (values != nullptr) level.offered = values->begin();
  }

  // Adds a property to its group, or opens it when it is one itself.
  void add(Level& level, PropertySchema& property) {
    const Value* offered = level.valueFor(property.name);
    switch (property.shape) {
      case PropertySchema::Shape::placeholder:
        level.children.setShared(std::move(property.name), Map());
        break;
      case PropertySchema::Shape::leaf:
        level.children.setShared(std::move(property.name), leaf(property, offered));
        break;
      case PropertySchema::Shape::group: {
        const Map* values = offered == nullptr ? nullptr : offered->map();
        open(property, values, values == nullptr ? Group::kept : groupOf(property));
        break;
      }
    }
  }

  Map leaf(PropertySchema& property, const Value* offered) {
    if (offered == nullptr || property.isReadonly) return plain(std::move(property.byDefault), property);
    if (property.byDefault.map() != nullptr) {
      Map node = plain(std::move(property.byDefault), property);
      return offered->map() == nullptr ? node : mergeValues(*offered->map(), node);
    }
    std::optional<Value> accepted = acceptedByLeaf(property.byDefault, *offered);
    return accepted ? nodes_.holding(*std::move(accepted)) : plain(std::move(property.byDefault), property);
  }

  Map close(Level& level) {
    Map children = level.children.build();
    switch (level.how) {
      case Group::kept:
        return plain(std::move(children), *level.group);
      case Group::laidOver:
        return nodes_.holding(std::move(children));
      case Group::dynamic:
        return nodes_.holding(withEveryValue(*level.values, children));
    }
    return {};
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

Map effectiveNodes(Schema& schema, const PropertySchema& section, const Map* values) {
  if (section.shape != PropertySchema::Shape::group) return {};
  return Building(schema).build(section, values);
}

}  // namespace qlczephra::document
