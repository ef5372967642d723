// Interpreting, merging, flattening, writing, comparing and freeing take time in proportion to the values.
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "document/merge.h"
#include "document/patch.h"
#include "document/tree_walk.h"
#include "platform/json/json.h"
#include "platform/plist/plist.h"
#include "tests/scale/measure.h"
#include "tests/support/settings_document.h"
#include "value/value_size.h"

namespace qlczephra::test {
namespace {

// How the values stand that an input is made of.
enum class Shape : std::uint8_t { wide, grouped, deep, dynamic };

constexpr struct {
  Shape shape;
  const char* name;
} shapes[] = {{Shape::wide, "wide"}, {Shape::grouped, "in groups"}, {Shape::deep, "deep"}, {Shape::dynamic, "dynamic"}};

constexpr std::size_t bytesPerValue = 64;  // about what a leaf of a document takes
constexpr std::size_t deepest = 50;

Map leaf(int value) {
  return {{"type", "integer"}, {"default", value}};
}

// `innermost` at the end of a chain of groups.
template <typename Group>
Value chain(Value innermost, const Group& group) {
  for (std::size_t level = 0; level < deepest; ++level) innermost = group(Map{{"g", std::move(innermost)}});
  return innermost;
}

// `count` members, made of leaves and groups as the shape says.
template <typename Leaf, typename Group>
Map shaped(Shape shape, std::size_t count, const Leaf& makeLeaf, const Group& makeGroup) {
  Map::Builder members;
  const auto name = [](std::size_t i) { return "scheduledScanKey" + std::to_string(i); };
  if (shape == Shape::deep) {
    for (std::size_t i = 0; i <= count / deepest; ++i) members.set(name(i), chain(makeLeaf(), makeGroup));
  } else if (shape == Shape::grouped) {
    for (std::size_t i = 0; i <= count / 10; ++i) {
      Map::Builder group;
      for (std::size_t k = 0; k < 10; ++k) group.set(name(k), makeLeaf());
      members.set(name(i), makeGroup(group.build()));
    }
  } else {
    for (std::size_t i = 0; i < count; ++i) members.set(name(i), makeLeaf());
  }
  return members.build();
}

Map valuesOf(Shape shape, std::size_t bytes, int value) {
  return {{"common", shaped(
                         shape, bytes / bytesPerValue, [&] { return Value(value); },
                         [](Map members) { return Value(std::move(members)); })}};
}

Map documentOf(Shape shape, std::size_t bytes) {
  const auto group = [](Map members) { return Value(Map{{"properties", std::move(members)}}); };
  Map schema = shaped(
      shape, bytes / bytesPerValue, [] { return Value(leaf(0)); }, group);
  Map common{{"properties", std::move(schema)}, {"dynamic", shape == Shape::dynamic}};
  return {{"data", Map{{"eff_schema", Map{{"common", std::move(common)}, {"macos", Map()}}},
                       {"values", valuesOf(shape, bytes, 1)}}}};
}

Map treeOf(Shape shape, std::size_t bytes) {
  return test::interpreted(documentOf(shape, bytes))->effectiveTree({});
}

// Keeps what an action makes until the next begins, so that its end is not measured.
template <typename Result>
Action keeping(std::function<Result()> make) {
  return [make = std::move(make), kept = std::make_shared<std::optional<Result>>()] { kept->emplace(make()); };
}

void expectLinearFor(const char* what, const std::function<Action(Shape shape, std::size_t bytes)>& prepare) {
  for (const auto& [shape, name] : shapes) {
    const std::string label = std::string(what) + ", " + name;
    expectLinear({label.c_str(), [&, shape = shape](std::size_t bytes) { return prepare(shape, bytes); }});
  }
}

TEST(LinearValues, InterpretingAndMerging) {
  expectLinearFor("a document with three layers", [](Shape shape, std::size_t bytes) {
    return keeping<Map>([document = json::write(documentOf(shape, bytes)).value(), layer = valuesOf(shape, bytes, 2)] {
      return test::interpreted(document)->effectiveTree({&layer, &layer, &layer});
    });
  });
}

TEST(LinearValues, Changes) {
  expectLinearFor("a patch of everything", [](Shape shape, std::size_t bytes) {
    return keeping<Map>(
        [tree = treeOf(shape, bytes), patch = valuesOf(shape, bytes, 2)] { return document::applyPatch(tree, patch); });
  });
  expectLinearFor("two patches in one", [](Shape shape, std::size_t bytes) {
    return keeping<Map>([first = valuesOf(shape, bytes, 1), second = valuesOf(shape, bytes, 2)] {
      return document::deepMerging(first, second);
    });
  });
  expectLinear({"a patch of many sections", [](std::size_t bytes) {
                  Map::Builder tree, patch;
                  for (std::size_t i = 0; i < bytes / bytesPerValue; ++i) {
                    const std::string name = "section" + std::to_string(i);
                    tree.set(name, Map{{"v", Map{{"a", Map{{"v", 1}}}}}});
                    patch.set(name, Map{{"a", 2}});
                  }
                  return keeping<Map>(
                      [tree = tree.build(), patch = patch.build()] { return document::applyPatch(tree, patch); });
                }});
  expectLinear({"a path of many names", [](std::size_t bytes) {
                  return keeping<const char*>(
                      [path = std::string(bytes, '.')] { return document::whyTooLarge(path, 1); });
                }});
  expectLinear({"a path of long names", [](std::size_t bytes) {
                  std::string path = "common";
                  for (int i = 0; i < 400; ++i) path += "." + std::string(bytes / 400, 'x');
                  return keeping<Map>([path] { return document::makePatch(path, 1); });
                }});
}

TEST(LinearValues, Walking) {
  expectLinearFor("flattening", [](Shape shape, std::size_t bytes) {
    return keeping<Map>([tree = treeOf(shape, bytes)] { return document::flattened(tree); });
  });
  expectLinearFor("measuring", [](Shape shape, std::size_t bytes) {
    return keeping<std::size_t>([tree = treeOf(shape, bytes)] { return valueSizeOf(tree).values; });
  });
  expectLinearFor("comparing", [](Shape shape, std::size_t bytes) {
    return keeping<bool>([left = treeOf(shape, bytes), right = treeOf(shape, bytes)] { return left == right; });
  });
  expectLinearFor("freeing", [](Shape shape, std::size_t bytes) -> Action {
    return [tree = std::make_shared<Map>(treeOf(shape, bytes))] { *tree = Map(); };
  });
}

TEST(LinearValues, Writing) {
  using Text = std::optional<std::string>;
  expectLinearFor("writing a property list", [](Shape shape, std::size_t bytes) {
    return keeping<Text>([tree = Value(treeOf(shape, bytes))] { return plist::write(tree); });
  });
  expectLinearFor("writing json", [](Shape shape, std::size_t bytes) {
    return keeping<Text>([tree = Value(treeOf(shape, bytes))] { return json::write(tree); });
  });
  for (const char* piece : {"\"\\\n", "<&>", "\xC3\xA9", "text"}) {
    const auto text = [piece](std::size_t bytes) {
      std::string whole;
      while (whole.size() < bytes) whole += piece;
      return Value(whole);
    };
    expectLinear({"writing a string to json", [&](std::size_t bytes) {
                    return keeping<Text>([value = text(bytes)] { return json::write(value); });
                  }});
    expectLinear({"writing a string to a property list", [&](std::size_t bytes) {
                    return keeping<Text>([value = text(bytes)] { return plist::write(value); });
                  }});
  }
}

}  // namespace
}  // namespace qlczephra::test
