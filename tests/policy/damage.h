// Damages a value at random: members go missing, change their kind, turn up twice. The same seed does the same damage.
#pragma once

#include <cstdint>
#include <string>

#include "tests/support/random_value.h"

namespace qlczephra::test {

class Damage {
 public:
  // `rate`: of a thousand members, how many are hit.
  Damage(std::uint64_t seed, std::size_t rate) : random_(seed, {.nesting = 3, .members = 3}), rate_(rate) {}

  Value on(const Value& value) {
    if (random_.below(1000) < rate_) return substitute(value);
    if (const Map* map = value.map()) {
      Map::Builder members;
      for (const auto [name, member] : *map) {
        if (random_.below(1000) < rate_) continue;
        const bool renamed = random_.below(1000) < rate_;
        members.set(renamed ? names[random_.below(std::size(names))] : name, on(member));
      }
      return members.build();
    }
    if (const List* list = value.list()) {
      List::Builder elements;
      for (const Value& element : *list) {
        if (random_.below(1000) >= rate_) elements.add(on(element));
        if (random_.below(1000) < rate_) elements.add(on(element));
      }
      return elements.build();
    }
    return value;
  }

  Map on(const Map& map) {
    const Value damaged = on(Value(map));
    return damaged.map() == nullptr ? Map() : *damaged.map();
  }

 private:
  // Values that are nearly right are more dangerous than noise.
  Value substitute(const Value& value) {
    switch (random_.below(8)) {
      case 0:
        return random_.below(2) == 0;
      case 1:
        return Value(static_cast<std::int64_t>(random_.below(3)) - 1);
      case 2:
        return 2.5;
      case 3:
        return names[random_.below(std::size(names))];
      case 4:
        return List{value, value};
      case 5:
        return Map{{"v", value}, {"ro", false}};
      default:
        return random_.value();
    }
  }

  static constexpr const char* names[] = {"v",     "ro",    "dynamic", "enabled", "properties", "default", "type",
                                          "daily", "block", "",        "monday",  "no_proxy",   "a.b",     "host"};

  RandomValues random_;
  std::size_t rate_;
};

}  // namespace qlczephra::test
