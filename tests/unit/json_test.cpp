// JSON: what is read and refused, numbers at their limits, strings, nesting, and that all that is written reads back.
#include "platform/json/json.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>

#include "platform/json/structural_index.h"
#include "platform/json/token_reader.h"
#include "platform/json/value_reader.h"
#include "tests/support/nested_text.h"
#include "tests/support/random_value.h"
#include "value/limits.h"

namespace qlczephra::json {
namespace {

using test::nested;

// The value, or a string that no document gives.
Value valueOf(std::string_view text) {
  // A copy of just this size lets the address sanitizer see any step over the end.
  const std::vector<char> exact(text.begin(), text.end());
  auto result = read(std::string_view(exact.data(), exact.size()));
  if (const auto* error = std::get_if<ReadError>(&result)) return Value("REFUSED: " + error->reason);
  return std::get<Value>(std::move(result));
}

TEST(JsonReader, Accepts) {
  using namespace std::string_literals;
  const std::string ninety(90, 'x');
  struct Case {
    std::string text;
    Value value;
  } cases[] = {
      {"null", nullptr},
      {" \t\r\n true \n", true},
      {"false", false},
      {"0", 0},
      {"-0", 0},
      {"-0.0", -0.0},
      {"1.5e3", 1500.0},
      {"1E+2", 100.0},
      {"9223372036854775807", std::numeric_limits<std::int64_t>::max()},
      {"-9223372036854775808", std::numeric_limits<std::int64_t>::min()},
      {"18446744073709551615", ~0ULL},
      {"18446744073709551616", 18446744073709551616.0},
      {"-9223372036854775809", -9223372036854775809.0},
      {"1" + std::string(300, '0'), 1e300},
      {"1e-400", 0.0},
      {"0." + std::string(400, '0') + "1", 0.0},
      {"0e99999999999999999999", 0.0},
      {"5e-324", 5e-324},
      {"1.7976931348623157e308", std::numeric_limits<double>::max()},
      {"\"\"", ""},
      {R"("\"\\\/\b\f\n\r\t\u00e9\u20AC\ud83d\uDE00")", "\"\\/\b\f\n\r\t\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {R"("a\u0000b")", "a\0b"s},
      {"\"" + ninety + "\\\\\"", ninety + "\\"},
      {"\"\x7F\xEF\xBB\xBF\"", "\x7F\xEF\xBB\xBF"},
      {"[]", List{}},
      {"{ }", Map{}},
      {"[1,[2,{}],\"3\"]", List{1, List{2, Map{}}, "3"}},
      {R"({"b":1,"a":{"\u0062":[]},"":0})", Map{{"b", 1}, {"a", Map{{"b", List{}}}}, {"", 0}}},
      {R"({"a":1,"\u0061":{"x":2},"a":3})", Map{{"a", 3}}},
  };
  for (const auto& [text, value] : cases) EXPECT_EQ(valueOf(text), value) << text;
}

TEST(JsonReader, Refuses) {
  using namespace std::string_literals;
  const std::string cases[] = {
      "",
      " ",
      "\xEF\xBB\xBF{}",
      "{} {}",
      "{}x",
      "[1]]",
      "1 2",
      "nul",
      "nulll",
      "True",
      "NaN",
      "Infinity",
      "undefined",
      "01",
      "-",
      "+1",
      "1.",
      ".5",
      "1.e5",
      "1e",
      "1e+",
      "0x10",
      "1x",
      "1\"a\"",
      "--1",
      "1e400",
      "-1e400",
      "1" + std::string(400, '0'),
      "[",
      "]",
      "[1,]",
      "[,1]",
      "[1 2]",
      "[1}",
      "[1:2]",
      "{",
      "{\"a\"}",
      "{\"a\":}",
      "{\"a\":1,}",
      "{\"a\" 1}",
      "{\"a\"::1}",
      "{a:1}",
      "{1:1}",
      "{\"a\":1 \"b\":2}",
      "{\"a\":1]",
      "{,}",
      "{\"a\",1}",
      "[{]}",
      ":",
      ",",
      "// x\n1",
      "[1/**/]",
      "'a'",
      "\"",
      "\"\\\"",
      "\"a",
      "\"\\x\"",
      "\"\\u12\"",
      "\"\\u12g4\"",
      "\"\\u 123\"",
      "\"\\ud800\"",
      "\"\\udc00\"",
      "\"\\ud800\\u0041\"",
      "\"\\ud800\\ud800\"",
      "\"\\ud800x\"",
      "\"a\nb\"",
      "\"\t\"",
      "\"\0\""s,
      "1\0"s,
      "\0"s,
      "\"\x80\"",
      "\"\xC0\x80\"",
      "\"\xED\xA0\x80\"",
      "\"\xF4\x90\x80\x80\"",
      "\"\xE2\x82\"",
      "\xA0"
      "1",
      "[1]\x0C",
      "{\"\\ud800\":1}",
      "{\"a\":tru}",
      "[1\x1A"
      "2]",
      "[nulltrue]",
      "\"a\"b",
      "\"a\"\"b\"",
      nested(limits::documentNesting + 1, "[", "", "]"),
      nested(limits::documentNesting + 1, "{\"a\":", "1", "}"),
      nested(1'000'000, "[", "", ""),
  };
  for (const std::string& text : cases) {
    EXPECT_TRUE(std::holds_alternative<ReadError>(read(text))) << text.substr(0, 100);
  }
}

// What is larger than the limits is told from what is no JSON by its flag.
std::optional<Value> readWith(const std::string& implementation, std::string_view text) {
  const StructuralIndex index(text, implementation);
  if (index.error() != nullptr) return std::nullopt;
  TokenReader tokens(text, index);
  Value value;
  const bool isRead = ValueReader(tokens).read(value, 0) && tokens.isAtEnd();
  return isRead ? std::optional(value) : std::nullopt;
}

// All read the same, the one without vector instructions included; they only give other reasons for what they refuse.
TEST(JsonReader, AllImplementationsAgree) {
  const std::vector<std::string> implementations = StructuralIndex::implementations();
  ASSERT_THAT(implementations, ::testing::Contains("fallback"));
  test::RandomValues random(1);
  int accepted = 0;
  for (int round = 0; round < 500; ++round) {
    Map::Builder members;
    members.set("escapes", std::string_view("\\\"\xC3\xA9 \t"));
    members.set("map", random.map());
    std::string text = *write(members.build());
    if (round % 2 == 1) text[random.below(text.size())] = static_cast<char>(random.below(256));
    const auto best = readWith("", text);
    accepted += best.has_value();
    for (const std::string& name : implementations) ASSERT_EQ(readWith(name, text), best) << name << ": " << text;
  }
  EXPECT_GT(accepted, 250);
  EXPECT_LT(accepted, 500);
}

TEST(JsonReader, NestingIsLimited) {
  EXPECT_TRUE(std::get<ReadError>(read(nested(limits::documentNesting + 1, "[", "", "]"))).exceedsLimit);
  EXPECT_FALSE(std::get<ReadError>(read(nested(limits::documentNesting, "[", "x", "]"))).exceedsLimit);
  EXPECT_EQ(valueOf(nested(limits::documentNesting, "{\"a\":", "1", "}")).nesting(), limits::documentNesting);
}

TEST(JsonReader, SharesLongKeys) {
  const Value value = valueOf(R"([{"scheduledScanInterval":1},{"scheduledScanInterval":2}])");
  const auto keyIn = [&](std::size_t index) { return (*(*value.list())[index].map()->begin()).key.data(); };
  EXPECT_EQ(keyIn(0), keyIn(1));
}

// Many members must not cost a search of all of them each.
TEST(JsonReader, ManyKeysAndEqualKeysAreLinear) {
  std::string different = "{", equal = "{";
  for (int i = 0; i < 200'000; ++i) {
    different += "\"scheduledScanKey" + std::to_string(i) + "\":0,";
    equal += "\"scheduledScanInterval\":" + std::to_string(i) + ",";
  }
  different.back() = equal.back() = '}';
  EXPECT_EQ(valueOf(different).map()->size(), 200'000U);
  EXPECT_EQ(valueOf(equal), (Map{{"scheduledScanInterval", 199'999}}));
}

TEST(JsonWriter, Writes) {
  using namespace std::string_literals;
  struct Case {
    Value value;
    std::string compact;
  } cases[] = {
      {nullptr, "null"},
      {true, "true"},
      {-1, "-1"},
      {~0ULL, "18446744073709551615"},
      {2.0, "2.0"},
      {-0.0, "-0.0"},
      {0.1, "0.1"},
      {1e300, "1e+300"},
      {"\"\\/\b\f\n\r\t\x01\x1F\x7F\xC3\xA9\0"s, R"("\"\\/\b\f\n\r\t\u0001\u001f)"s + "\x7F\xC3\xA9\\u0000\""},
      {List{}, "[]"},
      {Map{}, "{}"},
      {Map{{"b", List{1, Map{}, List{}}}, {"a", Map{{"x", nullptr}}}}, R"({"a":{"x":null},"b":[1,{},[]]})"},
  };
  for (const auto& [value, compact] : cases) EXPECT_EQ(write(value), compact);

  EXPECT_EQ(write(Map{{"b", List{1, Map{}, List{}}}, {"a", Map{{"x", nullptr}}}}, Style::indented),
            "{\n  \"a\": {\n    \"x\": null\n  },\n  \"b\": [\n    1,\n    {},\n    []\n  ]\n}");
}

TEST(JsonWriter, RefusesWhatJsonCannotHold) {
  for (const Value& value : {Value(std::nan("")), Value(std::numeric_limits<double>::infinity()), Value("a\x80"),
                             Value("\xED\xA0\x80"), Value("0123456789abcdef\xC3")}) {
    EXPECT_EQ(write(value), std::nullopt);
    EXPECT_EQ(write(Map{{"deep", List{1, value}}}), std::nullopt);
  }
  EXPECT_EQ(write(Map{{"\xFF", 1}}), std::nullopt);
}

TEST(JsonWriter, WritesAnyNesting) {
  constexpr std::size_t levels = 100'000;
  Value deep(Map{});
  for (std::size_t i = 1; i < levels; ++i) deep = List{deep};
  EXPECT_EQ(write(deep), nested(levels - 1, "[", "{}", "]"));
}

TEST(Json, WhatIsWrittenReadsBackEqual) {
  for (std::uint64_t seed = 0; seed < 2000; ++seed) {
    const Value value = test::RandomValues(seed).map();
    for (const Style style : {Style::compact, Style::indented}) {
      const auto text = write(value, style);
      ASSERT_TRUE(text) << "seed " << seed;
      ASSERT_EQ(valueOf(*text), value) << "seed " << seed << ": " << *text;
    }
  }
}

// A cut, changed or doubled byte gives an error or a value that reads back, never anything else.
TEST(Json, DamagedTextIsRefusedOrReadsBack) {
  for (std::uint64_t seed = 0; seed < 3000; ++seed) {
    test::RandomValues random(seed);
    std::string text = *write(random.map());
    constexpr std::string_view bytes = "{}[]:,\"\\ue0-1.t\x80\xC3\n ";
    for (int damage = 0; damage < 2 && !text.empty(); ++damage) {
      const std::size_t at = random.below(text.size());
      const char byte = bytes[random.below(bytes.size())];
      switch (random.below(4)) {
        case 0:
          text.erase(at, 1 + random.below(4));
          break;
        case 1:
          text.insert(at, 1, byte);
          break;
        case 2:
          text[at] = byte;
          break;
        default:
          text.resize(at);
          break;
      }
    }
    const std::vector<char> exact(text.begin(), text.end());
    const auto result = read(std::string_view(exact.data(), exact.size()));
    if (const auto* value = std::get_if<Value>(&result)) {
      const auto written = write(*value);
      ASSERT_TRUE(written) << "seed " << seed;
      ASSERT_EQ(valueOf(*written), *value) << "seed " << seed;
    }
  }
}

}  // namespace
}  // namespace qlczephra::json
