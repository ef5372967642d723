// Values: kinds kept apart, equality by content, order, sharing, deep nesting.
#include "qlczephra/value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <string>

namespace qlczephra {
namespace {

TEST(Value, KeepsItsKind) {
  const std::string longText(100, 'x');
  struct Case {
    Value value;
    Value::Kind kind;
  } cases[] = {
      {Value(), Value::Kind::null},     {Value(nullptr), Value::Kind::null},    {Value(true), Value::Kind::boolean},
      {Value(0), Value::Kind::integer}, {Value(~0ULL), Value::Kind::integer},   {Value(2.0), Value::Kind::real},
      {Value(""), Value::Kind::string}, {Value(longText), Value::Kind::string}, {Value(List{}), Value::Kind::list},
      {Value(Map{}), Value::Kind::map},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_EQ(cases[i].value.kind(), cases[i].kind) << i;
    for (std::size_t j = 0; j < std::size(cases); ++j) {
      const bool bothNull = i < 2 && j < 2;
      EXPECT_EQ(cases[i].value == cases[j].value, i == j || bothNull) << i << " and " << j;
    }
  }
}

TEST(Value, NumbersThatLookAlikeAreDifferent) {
  EXPECT_NE(Value(2), Value(2.0));
  EXPECT_NE(Value(1), Value(true));
  EXPECT_NE(Value(-1), Value(~0ULL));
  EXPECT_EQ(Value(std::nan("")), Value(std::nan("1")));
  EXPECT_EQ(Value(7U), Value(7));
}

TEST(Value, ReadsWholeNumbersWithoutUndefinedConversions) {
  constexpr auto smallest = std::numeric_limits<std::int64_t>::min();
  struct Case {
    Value value;
    std::optional<std::int64_t> whole;
  } cases[] = {
      {Value(2), 2},
      {Value(2.0), 2},
      {Value(-0.0), 0},
      {Value(2.5), std::nullopt},
      {Value(1e300), std::nullopt},
      {Value(-9223372036854775808.0), smallest},
      {Value(9223372036854775808.0), std::nullopt},
      {Value(std::nan("")), std::nullopt},
      {Value(std::numeric_limits<double>::infinity()), std::nullopt},
      {Value(~0ULL), std::nullopt},
      {Value(true), std::nullopt},
      {Value("2"), std::nullopt},
  };
  for (const auto& [value, whole] : cases) EXPECT_EQ(value.wholeNumber(), whole);
  EXPECT_EQ(Value(~0ULL).unsignedInteger(), ~0ULL);
  EXPECT_EQ(Value(-1).unsignedInteger(), std::nullopt);
}

TEST(Value, StringsOfEveryLengthComeBack) {
  for (std::size_t length = 0; length < 40; ++length) {
    std::string text(length, '\0');
    for (std::size_t i = 0; i < length; ++i) text[i] = static_cast<char>(i * 37);
    const Value value(text);
    const Value copy = value;  // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(*copy.string(), text);
  }
}

TEST(Map, IteratesByBytesWhateverTheOrderOfMaking) {
  Map::Builder builder;
  for (const char* key : {"b", "\xC3\xA9", "a", "", "ab", "B", "a"}) builder.set(key, Value(key));
  builder.set("a", 2);
  const Map map = builder.build();
  std::string order;
  for (const auto& [key, value] : map) order += std::string(key) + "|";
  EXPECT_EQ(order, "|B|a|ab|b|\xC3\xA9|");
  EXPECT_EQ(*map.find("a"), Value(2)) << "of equal keys the last wins";
  EXPECT_EQ(map.find("c"), nullptr);
}

TEST(Map, FindsKeysOfEveryLengthAsAnOrderedMapDoes) {
  std::uint32_t state = 7;
  const auto draw = [&state](std::uint32_t below) { return (state = state * 1664525U + 1013904223U) / 65536U % below; };
  const auto drawKey = [&] {
    std::string key(draw(20), ' ');
    for (char& c : key) c = "\0\1a\xFF"[draw(4)];
    return key;
  };
  for (int round = 0; round < 200; ++round) {
    std::map<std::string, int> model;
    Map map;
    for (std::uint32_t i = draw(40); i > 0; --i) {
      const std::string key = drawKey();
      model[key] = static_cast<int>(i);
      map = map.with(key, i);
    }
    auto expected = model.begin();
    for (const auto& [key, value] : map) {
      ASSERT_EQ(key, expected->first);
      ASSERT_EQ(*map.find(key), Value((expected++)->second));
    }
    ASSERT_EQ(expected, model.end());
    for (int i = 0; i < 50; ++i) {
      const std::string key = drawKey();
      ASSERT_EQ(map.find(key) != nullptr, model.contains(key));
    }
  }
}

TEST(Map, ChangesShareWhatTheyDoNotTouch) {
  const Map inner{{"x", 1}};
  const Map map{{"inner", inner}, {"n", 1}};
  const Map changed = map.with("n", 2).with("new", "v");
  EXPECT_EQ(map, (Map{{"inner", inner}, {"n", 1}})) << "the original stays";
  EXPECT_EQ(changed, (Map{{"inner", inner}, {"n", 2}, {"new", "v"}}));
  EXPECT_TRUE(changed.find("inner")->map()->sharesWith(inner));
  EXPECT_EQ(changed.without("new").without("n").without("n"), (Map{{"inner", inner}}));
}

TEST(Value, DeepNestingIsCountedAndFreedOnAFlatStack) {
  constexpr std::size_t levels = 1'000'000;
  Value deep(1);
  for (std::size_t i = 0; i < levels; ++i) deep = i % 2 == 0 ? Value(List{deep}) : Value(Map{{"a", deep}});
  EXPECT_EQ(deep.nesting(), levels);
}

}  // namespace
}  // namespace qlczephra
