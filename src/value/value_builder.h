// Builds a value bottom-up while a document is read, on a stack of its own. For one thread.
#pragma once

#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include "qlczephra/value.h"
#include "value/key_interner.h"

namespace qlczephra {

class ValueBuilder {
 public:
  // Containers that are open.
  [[nodiscard]] std::size_t depth() const noexcept { return depth_; }
  [[nodiscard]] bool isInMap() const noexcept { return depth_ > 0 && levels_[depth_ - 1].isMap; }

  void openList() { open(false); }
  void openMap() { open(true); }

  // The key of what is added to the innermost container, a map, next.
  void setKey(std::string_view key) { levels_[depth_ - 1].key = keys_.intern(key); }

  // Adds to the innermost container. Of equal keys in a map the last wins.
  void add(Value value) {
    Level& level = levels_[depth_ - 1];
    if (level.isMap) {
      level.map.setShared(std::move(level.key), std::move(value));
    } else {
      level.list.add(std::move(value));
    }
  }

  // Ends the innermost container and takes it out; add() puts it into the one around it.
  [[nodiscard]] Value close() {
    Level& level = levels_[--depth_];
    return level.isMap ? Value(level.map.build()) : Value(level.list.build());
  }

 private:
  // Levels stay when their container is closed, so that the next one at this depth finds buffers of the right size.
  struct Level {
    bool isMap = false;
    List::Builder list;
    Map::Builder map;
    Value key;
  };

  void open(bool isMap) {
    if (depth_ == levels_.size()) levels_.emplace_back();
    levels_[depth_++].isMap = isMap;
  }

  std::vector<Level> levels_;
  std::size_t depth_ = 0;
  KeyInterner keys_;
};

}  // namespace qlczephra
