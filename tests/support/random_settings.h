// Random settings trees and changes of them, with few names, so that they meet, and with all that a tree can hold:
// groups, dynamic ones too, read-only nodes, placeholders, raw values, and leaves that change their kind.
#pragma once

#include <cstdint>
#include <iterator>
#include <string>

#include "qlczephra/value.h"
#include "tests/support/random_value.h"

namespace qlczephra::test {

class RandomSettings {
 public:
  explicit RandomSettings(std::uint64_t seed) : values_(seed, {.nesting = 2, .members = 2}) {}

  std::size_t below(std::size_t limit) { return values_.below(limit); }
  bool oneIn(std::size_t count) { return below(count) == 0; }

  Map tree() {
    Map::Builder tree;
    for (const char* section : sections) {
      if (!oneIn(4)) tree.set(section, oneIn(12) ? values_.value() : Value(group(4)));
    }
    return tree.build();
  }

  struct Change {
    std::string path;
    Value value;
  };
  // `withNodes`: a map inside may look like a setting node.
  Change change(bool withNodes) {
    withNodes_ = withNodes;
    std::string path = oneIn(30) ? "nowhere" : sections[below(std::size(sections))];
    for (std::size_t names = below(5); names > 0; --names) path += "." + name();
    return {path, value(3)};
  }

 private:
  static constexpr const char* sections[] = {"common", "macos", "windows"};

  std::string name() {
    static constexpr const char* names[] = {"a", "b", "c", "d", "", "a name beyond fifteen bytes"};
    static constexpr const char* wordsOfNodes[] = {"v", "ro", "dynamic"};
    return withNodes_ && oneIn(4) ? wordsOfNodes[below(std::size(wordsOfNodes))] : names[below(std::size(names))];
  }

  Value plain() {
    switch (below(8)) {
      case 0:
        return Value();
      case 1:
        return oneIn(2);
      case 2:
        return below(3);
      case 3:
        return oneIn(2) ? 0.0 : -0.0;
      case 4:
        return oneIn(2) ? 1.0 : 1.5;
      case 5:
        return oneIn(2) ? "short" : "a string beyond fifteen bytes";
      case 6:
        return Value(List{1, Map{{"v", 1}}});
      default:
        return ~std::uint64_t{0};
    }
  }

  Value value(int nesting) {
    if (nesting == 0 || oneIn(2)) return plain();
    Map::Builder members;
    for (std::size_t left = below(4); left > 0; --left) members.set(name(), value(nesting - 1));
    return members.build();
  }

  Map group(int nesting) {
    withNodes_ = true;
    Map::Builder children;
    for (std::size_t left = below(7); left > 0; --left) {
      children.set(name(), nesting > 0 && oneIn(2) ? Value(group(nesting - 1)) : leaf());
    }
    return node(children.build());
  }

  Value leaf() {
    if (oneIn(10)) return Map();     // a placeholder
    if (oneIn(10)) return value(1);  // raw, as in what was a dynamic group
    return node(oneIn(6) ? value(2) : plain());
  }

  Map node(Value value) {
    Map::Builder fields;
    fields.set("v", std::move(value));
    if (oneIn(2)) fields.set("ro", oneIn(4));
    if (oneIn(6)) fields.set("dynamic", true);
    return fields.build();
  }

  RandomValues values_;
  bool withNodes_ = false;
};

}  // namespace qlczephra::test
