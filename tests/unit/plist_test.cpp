// Property lists: the vocabulary, strictness about XML, what comes back byte for byte, nesting.
#include "platform/plist/plist.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/support/random_value.h"

namespace qlczephra::plist {
namespace {

Value valueOf(std::string_view text) {
  // A copy of just this size lets the address sanitizer see any step over the end.
  const std::vector<char> exact(text.begin(), text.end());
  auto result = read(std::string_view(exact.data(), exact.size()));
  if (const auto* error = std::get_if<ReadError>(&result)) return Value("REFUSED: " + error->reason);
  return std::get<Value>(std::move(result));
}

std::string document(std::string_view inside) {
  return "<plist version=\"1.0\">" + std::string(inside) + "</plist>";
}

std::string nestedArrays(std::size_t levels) {
  std::string text;
  for (std::size_t i = 0; i < levels; ++i) text += "<array>";
  for (std::size_t i = 0; i < levels; ++i) text += "</array>";
  return document(text);
}

TEST(PlistReader, AcceptsTheVocabulary) {
  struct Case {
    std::string inside;
    Value value;
  } cases[] = {
      {"<true/>", true},
      {" <false></false>\n", false},
      {"<true > </true >", true},
      {"<integer>0</integer>", 0},
      {"<integer> \n+7\t</integer>", 7},
      {"<integer>-9223372036854775808</integer>", std::numeric_limits<std::int64_t>::min()},
      {"<integer>18446744073709551615</integer>", ~0ULL},
      {"<integer>0xfF</integer>", 255},
      {"<integer>-0X10</integer>", -16},
      {"<integer>&#49;<!-- one -->2<![CDATA[3]]></integer>", 123},
      {"<real>2</real>", 2.0},
      {"<real> -1.5e3 </real>", -1500.0},
      {"<real>+.5</real>", 0.5},
      {"<real>1e-400</real>", 0.0},
      {"<string/>", ""},
      {"<string></string>", ""},
      {"<string> a\tb\n </string>", " a\tb\n "},
      {"<string>a\r\nb\rc\r\r\nd&#13;&#xD;&#10;</string>", "a\nb\nc\n\nd\r\r\n"},
      {"<string>&lt;&gt;&amp;&quot;&apos;&#x20AC;&#0000000000000000128512;</string>",
       "<>&\"'\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {"<string>a<!-- - > <b> &no; -->b<?pi ? > ?>c<![CDATA[&amp;<x>]] ]>\r\n]]>]] ]></string>",
       "abc&amp;<x>]] ]>\n]] ]>"},
      {"<string><![CDATA[]]></string>", ""},
      {"<array/>", List{}},
      {"<array> <!-- none --> </array>", List{}},
      {"<array><array/><dict/><integer>1</integer></array>", List{List{}, Map{}, 1}},
      {"<dict></dict>", Map{}},
      {"<dict><key>b</key><true/><key/><dict><key>a&amp;</key><string>x</string></dict></dict>",
       Map{{"b", true}, {"", Map{{"a&", "x"}}}}},
      {"<dict><key>a</key><true/><key>&#97;</key><dict/><key>a</key><integer>3</integer></dict>", Map{{"a", 3}}},
      {"<date> 2024-02-29T23:59:60Z\n</date>", "2024-02-29T23:59:60Z"},
      {"<data>\n\tSGVs\r\n\tbG8=\n</data>", "SGVsbG8="},
      {"<data/>", ""},
      {"<dict a='1' b=\"&lt;>'\" _c:d.e-f = \"\"><key\nid='k'>k</key><string xml:space='preserve'> </string></dict>",
       Map{{"k", " "}}},
  };
  for (const auto& [inside, value] : cases) EXPECT_EQ(valueOf(document(inside)), value) << inside;
}

TEST(PlistReader, AcceptsWhatMayStandAroundTheRoot) {
  const std::string usual =
      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
      "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">";
  for (const std::string& before :
       {std::string(), usual, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + usual,
        "\xEF\xBB\xBF<?xml version='1.0' encoding='utf-8' standalone='no' ?><!-- a --><?b c?>" + usual +
            "<!---->\n<?d?>",
        std::string("<?xml version=\"1.0\"?>\r\n<!DOCTYPE plist SYSTEM 'x' >"), std::string("<!DOCTYPE plist>"),
        std::string("\n<?xml-stylesheet href='x'?>")}) {
    EXPECT_EQ(valueOf(before + "<plist><true/></plist>\n<!-- z --><?y?>\n"), Value(true)) << before;
  }
}

TEST(PlistReader, Refuses) {
  using namespace std::string_literals;
  const std::string cases[] = {
      // the document
      "",
      "x",
      "<plist/>",
      "<plist></plist>",
      "<true/>",
      "<dict/>",
      "<plist><true/>",
      "<plist><true/></plist",
      "<plist><true/></plist>x",
      "<plist><true/></plist><plist><true/></plist>",
      "x<plist><true/></plist>",
      "<plist><true/><true/></plist>",
      "<plist>x<true/></plist>",
      "<plist><true/>&#32;</plist>",
      "</plist>",
      "<PLIST><true/></PLIST>",
      "<plist><plist><true/></plist></plist>",
      "<plist><true/></plist>\0"s,
      "\xEF\xBB\xBF\xEF\xBB\xBF<plist><true/></plist>",
      "\xFF\xFE<\0p\0"s,
      "<plist><true/></plist><!--",
      // declaration and document type
      " <?xml version=\"1.0\"?><plist><true/></plist>",
      "<?xml version=\"1.1\"?><plist><true/></plist>",
      "<?xml encoding=\"UTF-8\"?><plist><true/></plist>",
      "<?xml version=\"1.0\"encoding=\"UTF-8\"?><plist><true/></plist>",
      "<?xml version=\"1.0\" encoding=\"UTF-16\"?><plist><true/></plist>",
      "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><plist><true/></plist>",
      "<?xml version=\"1.0\" standalone=\"maybe\"?><plist><true/></plist>",
      "<?xml version=\"1.0\" standalone=\"no\" encoding=\"UTF-8\"?><plist><true/></plist>",
      "<?xml version=\"1.0\"?><?xml version=\"1.0\"?><plist><true/></plist>",
      "<?xml?><plist><true/></plist>",
      "<?XML x?><plist><true/></plist>",
      "<!DOCTYPE html><plist><true/></plist>",
      "<!DOCTYPE plist [<!ENTITY a \"b\">]><plist><string>&a;</string></plist>",
      "<!DOCTYPE plist []><plist><true/></plist>",
      "<!DOCTYPE plist PUBLIC \"a\"><plist><true/></plist>",
      "<!DOCTYPE plist PUBLIC \"<\" \"b\"><plist><true/></plist>",
      "<!DOCTYPE plist SYSTEM><plist><true/></plist>",
      "<!DOCTYPE plist><!DOCTYPE plist><plist><true/></plist>",
      "<plist><!DOCTYPE plist><true/></plist>",
      "<plist><true/></plist><!DOCTYPE plist>",
      // elements
      document("<null/>"),
      document("<dict><true/></dict>"),
      document("<dict><key>a</key></dict>"),
      document("<dict><key>a</key><key>b</key><true/></dict>"),
      document("<array><key>a</key></array>"),
      document("<key>a</key>"),
      document("<array><true/></dict>"),
      document("<array>"),
      document("<string>a</key>"),
      document("<string>a<b/>c</string>"),
      document("<string>a"),
      document("<string>a</string"),
      document("<true>x</true>"),
      document("<true><true/></true>"),
      document("<array>x</array>"),
      document("<array><![CDATA[ ]]></array>"),
      document("<dict><key>a</key>x<true/></dict>"),
      document("< true/>"),
      document("<true / >"),
      document("<true/ >"),
      document("</array>"),
      document("<true/></true>"),
      document("<string></string/>"),
      document("<string></string a='1'>"),
      document("<!ELEMENT a>"),
      document("<>"),
      document("<"),
      document("<array"),
      document("<Array/>"),
      // attributes
      document("<true a/>"),
      document("<true a=b/>"),
      document("<true a='/>"),
      document("<true a='1' a='2'/>"),
      document("<true a='1'b='2'/>"),
      document("<true a='<'/>"),
      document("<true a='&b;'/>"),
      document("<true a='&'/>"),
      document("<true 1='1'/>"),
      document("<true a=\"'/>"),
      // text
      document("<string>&</string>"),
      document("<string>&amp</string>"),
      document("<string>&nbsp;</string>"),
      document("<string>&#0;</string>"),
      document("<string>&#x1F;</string>"),
      document("<string>&#xD800;</string>"),
      document("<string>&#xFFFE;</string>"),
      document("<string>&#x110000;</string>"),
      document("<string>&#;</string>"),
      document("<string>&#x;</string>"),
      document("<string>&#X41;</string>"),
      document("<string>&#1a;</string>"),
      document("<string>&#99999999999999999999;</string>"),
      document("<string>&;</string>"),
      document("<string>& lt;</string>"),
      document("<string>]]></string>"),
      document("<string><![CDATA[x</string>"),
      document("<string><!-- -- --></string>"),
      document("<string><!-- ---></string>"),
      document("<string><![cdata[x]]></string>"),
      document("<string><? x?></string>"),
      document("<string><?x</string>"),
      document("<string>\x01</string>"),
      document("<string>\0</string>"s),
      document("<string>\xC3</string>"),
      document("<string>\xEF\xBF\xBF</string>"),
      document("<string>\xED\xA0\x80</string>"),
      document("<true/><!-- \x02 -->"),
      // scalars
      document("<integer/>"),
      document("<integer></integer>"),
      document("<integer>-</integer>"),
      document("<integer>0x</integer>"),
      document("<integer>1.0</integer>"),
      document("<integer>1 2</integer>"),
      document("<integer>+-1</integer>"),
      document("<integer>18446744073709551616</integer>"),
      document("<integer>-9223372036854775809</integer>"),
      document("<integer>ff</integer>"),
      document("<real/>"),
      document("<real>nan</real>"),
      document("<real>-inf</real>"),
      document("<real>infinity</real>"),
      document("<real>1e400</real>"),
      document("<real>0x10</real>"),
      document("<real>1e</real>"),
      document("<real>.</real>"),
      document("<real>+-1</real>"),
      document("<real>1,5</real>"),
      document("<date/>"),
      document("<date>2023-02-29T00:00:00Z</date>"),
      document("<date>2023-13-01T00:00:00Z</date>"),
      document("<date>2023-01-01T24:00:00Z</date>"),
      document("<date>2023-01-01T00:00:00</date>"),
      document("<date>2023-01-01T00:00:00+01:00</date>"),
      document("<date>2023-1-01T00:00:00Z</date>"),
      document("<data>SGVsbG8</data>"),
      document("<data>S===</data>"),
      document("<data>SG*=</data>"),
      document("<data>=AAA</data>"),
      nestedArrays(maximumNesting + 1),
  };
  for (const std::string& text : cases) {
    EXPECT_TRUE(std::holds_alternative<ReadError>(read(text))) << text.substr(0, 200);
  }
}

TEST(PlistWriter, WritesTheUsualForm) {
  EXPECT_EQ(write(Map{{"b", List{true, false, -1, ~0ULL, 2.0, 0.1, 1e300}}, {"a<", " &\r\n>\t"}, {"c", Map{}}}),
            R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>a&lt;</key>
	<string> &amp;&#13;
&gt;	</string>
	<key>b</key>
	<array>
		<true/>
		<false/>
		<integer>-1</integer>
		<integer>18446744073709551615</integer>
		<real>2.0</real>
		<real>0.1</real>
		<real>1e+300</real>
	</array>
	<key>c</key>
	<dict>
	</dict>
</dict>
</plist>
)");
}

TEST(PlistWriter, RefusesAsAWholeWhatTheFormatCannotHold) {
  using namespace std::string_literals;
  for (const Value& value : {Value(), Value(std::nan("")), Value(-std::numeric_limits<double>::infinity()),
                             Value("\0"s), Value("\x1F"), Value("\xEF\xBF\xBE"), Value("0123456789abcdef\xEF\xBF\xBF"),
                             Value("\xC0\xAF"), Value("\xE2\x82"), Value("\xED\xA0\x80")}) {
    EXPECT_EQ(write(value), std::nullopt);
    EXPECT_EQ(write(Map{{"before", 1}, {"deep", List{1, value}}}), std::nullopt);
    if (const auto text = value.string()) {
      EXPECT_EQ(write(Map{{*text, 1}}), std::nullopt);
    }
  }
}

TEST(Plist, NestingIsLimitedAlikeInBothDirections) {
  Value deep(1);
  for (std::size_t i = 0; i < maximumNesting; ++i) deep = i % 2 == 0 ? Value(List{deep}) : Value(Map{{"a", deep}});
  const auto text = write(deep);
  ASSERT_TRUE(text);
  EXPECT_EQ(valueOf(*text), deep);
  EXPECT_EQ(write(List{deep}), std::nullopt);
  EXPECT_EQ(valueOf(nestedArrays(maximumNesting)).nesting(), maximumNesting);
}

// A million members, attributes or pieces of text must not cost a million times a search.
TEST(PlistReader, ManyOfAnythingIsLinear) {
  std::string keys = "<dict>", attributes = "<true", pieces = "<string>";
  for (int i = 0; i < 200'000; ++i) {
    keys += "<key>scheduledScanInterval</key><integer>" + std::to_string(i) + "</integer>";
    attributes += " a" + std::to_string(i) + "=''";
    pieces += i % 2 == 0 ? "&lt;" : "<!-->--><![CDATA[]]>";
  }
  EXPECT_EQ(valueOf(document(keys + "</dict>")), (Map{{"scheduledScanInterval", 199'999}}));
  EXPECT_EQ(valueOf(document(attributes + "/>")), Value(true));
  EXPECT_EQ(valueOf(document(pieces + "</string>")), Value(std::string(100'000, '<')));
}

TEST(Plist, WhatIsWrittenReadsBackEqual) {
  for (std::uint64_t seed = 0; seed < 2000; ++seed) {
    const Value value = test::RandomValues(seed, {.nulls = false, .controlCharacters = false}).map();
    const auto text = write(value);
    ASSERT_TRUE(text) << "seed " << seed;
    ASSERT_EQ(valueOf(*text), value) << "seed " << seed << ": " << *text;
  }
}

// Text is looked at in blocks: nothing in it may be missed, wherever it stands.
TEST(Plist, TextOfAnyLengthIsSeenWhole) {
  const std::string plain = "0123456789abcdefghijklmnopqrstuvwxyz ABCDEFGHIJKLMNOPQRSTUVWXYZ 0123456789";
  for (std::size_t length = 0; length <= 70; ++length) {
    for (std::size_t at = 0; at <= length; ++at) {
      const auto with = [&](std::string_view piece) {
        return plain.substr(0, at).append(piece).append(plain, at, length - at);
      };
      for (const std::string_view good :
           {"&", "<", ">", "\r", "\t", "\n", "]]>", "\x7F", "\xC3\xA9", "\xF0\x9F\x98\x80"}) {
        const Value value = Map{{with(good), with(good)}};
        const auto text = write(value);
        ASSERT_TRUE(text) << with(good);
        ASSERT_EQ(valueOf(*text), value) << *text;
      }
      for (const std::string_view bad : {"\x01", "\x1F", "\x80", "\xC3", "\xEF\xBF\xBE", "\xED\xA0\x80"}) {
        ASSERT_EQ(write(Map{{with(bad), 1}}), std::nullopt) << with(bad);
        ASSERT_EQ(write(List{with(bad)}), std::nullopt) << with(bad);
      }
    }
  }
}

// The usual form is read by steps of its own; every other form must give the same.
TEST(PlistReader, WhatStandsBetweenElementsMakesNoDifference) {
  Value value = Map{{"boolean", List{true, false}},
                    {"integer", List{0, -1, 123456789012345678, -123456789012345678, 1234567890123456789, ~0ULL}},
                    {"real", List{0.5, -1e300}},
                    {"a key longer than a block", List{"", "short", "0123456789abcde", "0123456789abcdef"}}};
  for (int level = 0; level < 10; ++level) {
    value = Map{{"list", List{Map{}, value, List{}}}, {"number", level}, {"v", true}};
  }
  const std::string usual = *write(value);
  struct Form {
    std::string_view lineFeed, tab;
  } forms[] = {
      {"\n", "\t"}, {"\r\n", "\t"}, {"\n", "  "}, {"", ""}, {"\n", ""}, {"\n\t ", "\t"}, {"<!-- - -->\n<?a b?>", "\t"}};
  const std::size_t inside = usual.find("<dict>");
  for (const auto& [lineFeed, tab] : forms) {
    std::string text = usual.substr(0, inside);
    for (const char byte : usual.substr(inside)) {
      text += byte == '\n' ? lineFeed : byte == '\t' ? tab : std::string_view(&byte, 1);
    }
    EXPECT_EQ(valueOf(text), value) << text;
  }
}

// No byte gets in unseen, neither where a text is read in the usual form nor around it.
TEST(PlistReader, RefusesWhatIsNoTextWhereverItStands) {
  const Value value = Map{{"a", List{true, 1, 1.5, "a string longer than a block"}}, {"b", "short"}};
  const std::string whole = *write(value) + "<!-- behind the value -->";
  for (const char byte : {'\x01', '\x80', '\xFF'}) {
    for (std::size_t at = 0; at < whole.size(); ++at) {
      std::string text = whole;
      text[at] = byte;
      ASSERT_TRUE(valueOf(text).string().value_or("").starts_with("REFUSED")) << at;
    }
  }
}

// Nodes of settings that are on or off are most of a tree.
TEST(PlistReader, EqualMapsOfBooleansAreShared) {
  const Value tree = Map{{"a", Map{{"ro", false}, {"v", true}}},
                         {"b", Map{{"ro", false}, {"v", false}}},
                         {"c", Map{{"ro", false}, {"v", true}}},
                         {"d", Map{{"v", true}}},
                         {"e", Map{{"w", true}}},
                         {"f", Map{{"v", true}}}};
  const Value read = valueOf(*write(tree));
  ASSERT_EQ(read, tree);
  const auto areShared = [&](const char* left, const char* right) {
    return read.map()->find(left)->map()->sharesWith(*read.map()->find(right)->map());
  };
  EXPECT_TRUE(areShared("a", "c"));
  EXPECT_TRUE(areShared("d", "f"));
}

// A file cut at any byte is refused: a settings file is never taken for a shorter one.
TEST(PlistReader, RefusesEveryPrefix) {
  test::RandomValues random(1, {.nulls = false, .controlCharacters = false});
  const std::string whole = *write(Map{{"common", random.map()}, {"macos", random.map()}});
  const std::size_t end = whole.rfind('>');
  for (std::size_t length = 0; length <= end; ++length) {
    ASSERT_TRUE(std::holds_alternative<ReadError>(read(std::string_view(whole).substr(0, length)))) << length;
  }
}

}  // namespace
}  // namespace qlczephra::plist
