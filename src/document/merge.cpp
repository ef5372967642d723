#include "document/merge.h"

#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "document/node_builder.h"
#include "document/setting_node.h"

namespace qlczephra::document {

namespace {

// Levels that hardly anything exceeds; more are possible.
constexpr std::size_t usualDepth = 8;

std::optional<bool> booleanFrom(const Value& value) {
  if (value.boolean()) return value.boolean();
  const std::optional<std::int64_t> number = value.wholeNumber();
  if (number == 0 || number == 1) return number == 1;
  return std::nullopt;
}

// Whether a node has nothing but its value, as those that were merged.
bool isBare(const Map& node) {
  return node.size() == 1;
}

// Whether one may stand for the other, as far as that is told at once. Reals that are equal may have two signs of zero.
bool isSame(const Value& left, const Value& right) {
  if (left.list() != nullptr && right.list() != nullptr) return left.list()->sharesWith(*right.list());
  const Value::Kind kind = left.kind();
  const bool isPlain = kind == Value::Kind::boolean || kind == Value::Kind::integer || kind == Value::Kind::string;
  return isPlain && left == right;
}

// Merges on a stack of its own: changes may nest deeper than a host's thread has stack.
class Merging {
 public:
  Map merge(const Map& values, const Map& node) {
    levels_.reserve(usualDepth);
    std::optional<Map> merged = begin(values, node);
    for (;;) {
      if (!merged) {
        merged = proceed();
      } else if (levels_.empty()) {
        return *std::move(merged);
      } else {
        levels_.back().takeGroup(*std::exchange(merged, std::nullopt));
      }
    }
  }

 private:
  // A group whose children are merged. Both maps are in key order, so one walk over both finds the pairs; the only
  // value that is offered, as on the way of a change by path, is looked up instead. Nothing is copied before a child
  // differs: most changes of a long list were laid over the same tree before.
  struct Level {
    Level(const Map& values, const Map& group, const Map& groupChildren)
        : node(&group),
          children(&groupChildren),
          offered(values.begin()),
          offeredEnd(values.end()),
          known(groupChildren.begin()),
          knownEnd(groupChildren.end()),
          isSearched(values.size() == 1) {
      if (!isSearched) return;
      found = groupChildren.find((*offered).key);
      if (found == nullptr) offered = offeredEnd;
    }
    // The child that is next.
    [[nodiscard]] const Value& present() const { return isSearched ? *found : (*known).value; }
    void keep() {
      if (isSearched) {
        ++offered;
      } else {
        if (differs) merged.setShared(known.sharedKey(), (*known).value);
        ++known;
      }
    }
    void take(Value child) {
      const bool isFirst = !std::exchange(differs, true);
      if (isSearched) {
        withOther = children->with((*offered).key, std::move(child));
        ++offered;
        return;
      }
      if (isFirst) {
        merged.reserve(children->size());
        for (auto before = children->begin(); before != known; ++before) {
          merged.setShared(before.sharedKey(), (*before).value);
        }
      }
      merged.setShared(known.sharedKey(), std::move(child));
      ++known;
    }
    // The child's node was merged; `child` may be the node that it was.
    void takeGroup(Map child) {
      if (child.sharesWith(*present().map())) {
        keep();
      } else {
        take(std::move(child));
      }
    }
    // What is offered to the next child; null for nothing.
    const Value* valueOffered() {
      if (isSearched) return &(*offered).value;
      for (; offered != offeredEnd; ++offered) {
        const int order = (*offered).key.compare((*known).key);
        if (order >= 0) return order == 0 ? &(*offered).value : nullptr;
      }
      return nullptr;
    }
    // When nothing more will differ.
    [[nodiscard]] bool isDone() const {
      if (isSearched) return offered == offeredEnd;
      return known == knownEnd || (!differs && offered == offeredEnd);
    }
    [[nodiscard]] Map build() { return isSearched ? std::move(withOther) : merged.build(); }

    const Map* node;
    const Map* children;
    Map::const_iterator offered, offeredEnd;
    Map::const_iterator known, knownEnd;
    bool isSearched;
    const Value* found = nullptr;  // if searched
    bool differs = false;
    Map withOther;        // the children if they differ and are searched, ...
    Map::Builder merged;  // ... and if they differ and are walked over
  };

  // The merged node, or none when its children come first.
  std::optional<Map> begin(const Map& values, const Map& node) {
    const Map* children = mapUnder(node, valueKey);
    if (children == nullptr) return node;
    if (isTrueUnder(node, dynamicKey)) return nodes_.holding(withEveryValue(values, *children));
    if (isTrueUnder(node, readonlyKey)) return node;
    levels_.emplace_back(values, node, *children);
    return std::nullopt;
  }

  // Goes on with the innermost group, and gives the node of a group that ends or of one that needs no walk.
  std::optional<Map> proceed() {
    Level& level = levels_.back();
    while (!level.isDone()) {
      const Value& present = level.present();
      const Value* value = level.valueOffered();
      const Map* child = value == nullptr ? nullptr : present.map();
      const Value* current = child == nullptr || isTrueUnder(*child, readonlyKey) ? nullptr : child->find(valueKey);
      if (current != nullptr && current->map() != nullptr && value->map() != nullptr) {
        return begin(*value->map(), *child);
      }
      std::optional<Value> leaf = current == nullptr ? std::nullopt : acceptedByLeaf(*current, *value);
      if (!leaf || (isBare(*child) && isSame(*leaf, *current))) {
        level.keep();
      } else {
        level.take(nodes_.holding(*std::move(leaf)));
      }
    }
    Map node = level.differs         ? nodes_.holding(level.build())
               : isBare(*level.node) ? *level.node
                                     : nodes_.holding(*level.children);
    levels_.pop_back();
    return node;
  }

  std::vector<Level> levels_;
  NodeBuilder nodes_;
};

}  // namespace

std::optional<Value> acceptedByLeaf(const Value& current, const Value& value) {
  switch (current.kind()) {
    case Value::Kind::real:
      return current.wholeNumber() ? std::optional(value) : std::nullopt;
    case Value::Kind::integer:
    case Value::Kind::string:
    case Value::Kind::list:
      return value;
    case Value::Kind::boolean:
      return booleanFrom(value);
    case Value::Kind::map:
    case Value::Kind::null:
      return std::nullopt;
  }
  return std::nullopt;
}

Map withEveryValue(const Map& values, const Map& children) {
  Map::Builder merged(children);
  for (auto value = values.begin(); value != values.end(); ++value) merged.setShared(value.sharedKey(), (*value).value);
  return merged.build();
}

Map mergeValues(const Map& values, const Map& node) {
  return Merging().merge(values, node);
}

namespace {

// Of two maps with any number of members.
Map unionOf(const Map& base, const Map& other) {
  if (base.empty()) return other;
  if (other.empty()) return base;
  // Maps that are merged into each other, the outermost first. Both are in key order, so one walk over both finds the
  // pairs.
  struct Level {
    Level(const Map& below, const Map& above)
        : base(below.begin()), baseEnd(below.end()), other(above.begin()), otherEnd(above.end()) {
      merged.reserve(below.size() + above.size());
    }
    void takeBoth(Value value) {
      merged.setShared(other.sharedKey(), std::move(value));
      ++base;
      ++other;
    }
    Map::const_iterator base, baseEnd;
    Map::const_iterator other, otherEnd;
    Map::Builder merged;
  };
  std::vector<Level> levels;
  levels.reserve(usualDepth);
  levels.emplace_back(base, other);
  for (;;) {
    Level& level = levels.back();
    const bool hasBase = level.base != level.baseEnd;
    const bool hasOther = level.other != level.otherEnd;
    if (!hasBase && !hasOther) {
      Map merged = level.merged.build();
      levels.pop_back();
      if (levels.empty()) return merged;
      levels.back().takeBoth(std::move(merged));
    } else if (!hasOther || (hasBase && (*level.base).key < (*level.other).key)) {
      level.merged.setShared(level.base.sharedKey(), (*level.base).value);
      ++level.base;
    } else if (!hasBase || (*level.other).key < (*level.base).key) {
      level.merged.setShared(level.other.sharedKey(), (*level.other).value);
      ++level.other;
    } else {
      const Value& below = (*level.base).value;
      const Value& above = (*level.other).value;
      if (below.map() != nullptr && above.map() != nullptr) {
        levels.emplace_back(*below.map(), *above.map());
      } else {
        level.takeBoth(above);
      }
    }
  }
}

}  // namespace

Map deepMerging(const Map& base, const Map& other) {
  // Where one member is to be merged, as on the way of a change by path, it is looked up.
  struct Around {
    const Map* map;
    std::string_view name;
  };
  std::vector<Around> around;
  const Map* below = &base;
  const Map* above = &other;
  Value merged;
  while (above != nullptr) {
    if (above->size() != 1 || below->empty()) {
      merged = unionOf(*below, *above);
      break;
    }
    const auto [name, value] = *above->begin();
    around.push_back({below, name});
    const Value* present = below->find(name);
    below = present == nullptr ? nullptr : present->map();
    above = below == nullptr ? nullptr : value.map();
    if (above == nullptr) merged = value;
  }
  for (; !around.empty(); around.pop_back()) merged = around.back().map->with(around.back().name, std::move(merged));
  return *merged.map();
}

}  // namespace qlczephra::document
