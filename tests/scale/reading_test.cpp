// Reading takes time in proportion to the text, whatever the text is.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <variant>

#include "document/settings_document.h"
#include "platform/json/json.h"
#include "platform/plist/plist.h"
#include "tests/scale/measure.h"

namespace qlczephra::test {
namespace {

// "{n}" in `piece` is the number of its repetition, counted down, in eight digits: names come in the worst order.
std::string repeated(std::string_view before, std::string_view piece, std::size_t bytes, std::string_view behind = "") {
  const std::size_t mark = piece.find("{n}");
  std::string text(before);
  std::size_t number = 99'999'999;
  while (text.size() < bytes) {
    if (mark == piece.npos) {
      text += piece;
    } else {
      text.append(piece.substr(0, mark)).append(std::to_string(number--)).append(piece.substr(mark + 3));
    }
  }
  text += behind;
  return text;
}

std::string times(std::size_t count, std::string_view piece) {
  return repeated("", piece, count * piece.size());
}

struct Text {
  const char* name;
  std::string before;
  std::string piece;
  std::string behind;
  bool isAccepted;  // as long as no limit refuses it
};

template <typename Read>
void expectLinearReading(const std::vector<Text>& texts, Read read) {
  for (const Text& text : texts) {
    EXPECT_EQ(read(repeated(text.before, text.piece, 10'000, text.behind)), text.isAccepted) << text.name;
    expectLinear({text.name, [&](std::size_t bytes) -> Action {
                    const auto whole =
                        std::make_shared<std::string>(repeated(text.before, text.piece, bytes, text.behind));
                    return [whole, read] { static_cast<void>(read(*whole)); };
                  }});
  }
}

TEST(LinearReading, OfDocuments) {
  const auto read = [](const std::string& text) {
    return std::holds_alternative<document::SettingsDocument>(document::SettingsDocument::interpret(text));
  };
  const std::string schemas = R"("eff_schema":{"common":{},"macos":{}})";
  expectLinearReading(
      {
          {"documents: values before schemas, again and again", "{", R"("data":{"values":{},)" + schemas + "},",
           R"("data":{"values":{"a":"\\"},)" + schemas + "}}", true},
          {"documents: schemas again and again", R"({"data":{"values":{},)", schemas + ",", schemas + "}}", true},
          {"documents: values again and again", R"({"data":{)" + schemas + ",",
           R"("values":{"common":{"a{n}":1},"macos":1},)", R"("values":0}})", true},
          {"documents: properties in the worst order", R"({"data":{"eff_schema":{"macos":{},"common":{"properties":{)",
           R"("name{n}":{"type":"integer","default":5},)", R"("":0}}},"values":{"common":{"name12345678":5}}}})", true},
          {"documents: values in another order", R"({"data":{"eff_schema":{"macos":{},"common":{"properties":{)",
           R"("scheduledScanKey{n}":0,)", R"("":0}}},"values":{"common":{"a":0}}}})", true},
      },
      read);
}

TEST(LinearReading, OfJson) {
  const std::string nested = times(500, "[") + times(500, "]") + ",";
  const std::vector<Text> texts = {
      {"json: different keys", "{", R"("scheduledScanKey{n}":"some text",)", R"("":0})", true},
      {"json: equal keys", "{", R"("scheduledScanInterval":1234567,)", R"("":0})", true},
      {"json: keys that differ late", "{", "\"" + times(1000, "x") + R"({n}":0,)", R"("":0})", true},
      {"json: many small maps", "[", R"({"name":"some text","on":true},)", "0]", true},
      {"json: deep lists", "[", nested, "0]", true},
      {"json: brackets that open", "", "[", "", false},
      {"json: brackets that close", "[", "]", "", false},
      {"json: numbers", "[", "-1234567.890123456e-7,", "0]", true},
      {"json: a number of many digits", "0.", "1234567890", "", true},
      {"json: a number of many zeros", "0.", "0000000000", "1", true},
      {"json: an integer of many digits", "", "1234567890", "", false},
      {"json: escapes", "[", R"("\u00e9\n\ud83d\ude00\\\"\/",)", "0]", true},
      {"json: one string of escapes", "\"", R"(\u00e9\n)", "\"", true},
      {"json: beyond ascii", "\"", "\xC3\xA9\xF0\x9F\x98\x80", "\"", true},
      {"json: a string without an end", "\"", "some text", "", false},
      {"json: backslashes without an end", "\"", "\\\\", "", false},
      {"json: quotation marks", "", "\"\"", "", false},
      {"json: blanks", "", " \n\t\r", "0", true},
      {"json: commas", "[0", ",", "]", false},
  };
  expectLinearReading(texts, [](const std::string& text) { return std::holds_alternative<Value>(json::read(text)); });
}

TEST(LinearReading, OfPropertyLists) {
  const std::string nested = times(1000, "<array>") + times(1000, "</array>");
  const std::vector<Text> texts = {
      {"plist: different keys", "<plist><dict>", "<key>scheduledScanKey{n}</key><true/>", "</dict></plist>", true},
      {"plist: equal keys", "<plist><dict>", "<key>key</key><string>a</string>", "</dict></plist>", true},
      {"plist: a key that never comes", "<plist><dict>", "<true/>", "</dict></plist>", false},
      {"plist: deep arrays", "<plist><array>", nested, "</array></plist>", true},
      {"plist: tags that open", "<plist>", "<array>", "", false},
      {"plist: empty tags", "<plist><array>", "<string/>", "</array></plist>", true},
      {"plist: entities", "<plist><string>", "&amp;&#65;&#x1F600;", "</string></plist>", true},
      {"plist: a reference without an end", "<plist><string>&", "amp", "", false},
      {"plist: a reference of zeros", "<plist><string>&#", "0000000", "65;</string></plist>", true},
      {"plist: ampersands", "<plist><string>", "&", "</string></plist>", false},
      {"plist: line ends", "<plist><string>", "\r\n\r", "</string></plist>", true},
      {"plist: brackets", "<plist><string>", "]]", "</string></plist>", true},
      {"plist: cdata sections", "<plist><string>", "<![CDATA[a]]>b", "</string></plist>", true},
      {"plist: a cdata section of line ends", "<plist><string><![CDATA[", "\r\n]] >", "]]></string></plist>", true},
      {"plist: a cdata section without an end", "<plist><string><![CDATA[", "<![CDATA[]]", "", false},
      {"plist: a string without an end", "<plist><string>", "some text", "", false},
      {"plist: comments", "<plist>", "<!-- a -->", "<true/></plist>", true},
      {"plist: comments inside text", "<plist><string>", "a<!-- a -->", "</string></plist>", true},
      {"plist: a comment without an end", "<plist><!--", " - <!-", "", false},
      {"plist: instructions", "<plist>", "<?p x?>", "<true/></plist>", true},
      {"plist: an instruction without an end", "<plist><?p ", "? <?", "", false},
      {"plist: attributes", "<plist ", "a{n}='1' ", "><true/></plist>", true},
      {"plist: equal attributes", "<plist ", "a='1' ", "><true/></plist>", false},
      {"plist: references in an attribute", "<plist a='", "&lt;", "'><true/></plist>", true},
      {"plist: an attribute without an end", "<plist a='", "&lt;", "", false},
      {"plist: a tag without an end", "<plist", "abcdefgh", "", false},
      {"plist: a document type without an end", "<!DOCTYPE plist SYSTEM '", "abcdefgh", "", false},
      {"plist: blanks", "<plist>", " \r\n\t", "<true/></plist>", true},
      {"plist: blanks around a number", "<plist><integer>", "  ", "1</integer></plist>", true},
      {"plist: a number of many zeros", "<plist><integer>", "00000000", "1</integer></plist>", true},
      {"plist: a real of many digits", "<plist><real>0.", "12345678", "1</real></plist>", true},
      {"plist: data", "<plist><data>", "AAAA\n\tBBBB", "</data></plist>", true},
  };
  expectLinearReading(texts, [](const std::string& text) { return std::holds_alternative<Value>(plist::read(text)); });
}

}  // namespace
}  // namespace qlczephra::test
