#include "tools/text_table.h"

#include <algorithm>
#include <cstdio>

#include "platform/json/json.h"

namespace qlczephra::tools {
namespace {

// Characters, not bytes: those of UTF-8 that continue a character are not counted.
std::size_t widthOf(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

// A control character that JSON text may hold as it stands, in front of a text: U+007F to U+009F.
struct LateControl {
  unsigned character = 0;
  std::size_t length = 0;  // in bytes of UTF-8; 0: none
};
LateControl lateControl(std::string_view text) {
  if (text.starts_with('\x7F')) return {0x7F, 1};
  if (text.size() < 2 || text[0] != '\xC2') return {};
  const auto second = static_cast<unsigned char>(text[1]);
  return second >= 0x80 && second <= 0x9F ? LateControl{second, 2} : LateControl();
}

}  // namespace

Lines tableLines(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t column = 0; column < row.size(); ++column) {
      widths[column] = std::max(widths[column], widthOf(row[column]));
    }
  }
  Lines lines;
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t column = 0; column < row.size(); ++column) {
      line += row[column];
      line.append(widths[column] - widthOf(row[column]) + 2, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    lines.push_back(std::move(line));
  }
  return lines;
}

std::string cell(std::string_view text) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (static_cast<unsigned char>(text[at]) < 0x20 || lateControl(text.substr(at)).length != 0) return quoted(text);
  }
  return std::string(text);
}

std::string quoted(std::string_view text) {
  const std::string json = json::write(Value(text)).value_or("?");
  std::string result;
  for (std::string_view rest = json; !rest.empty();) {
    if (const auto [character, length] = lateControl(rest); length != 0) {
      char escape[16];
      std::snprintf(escape, sizeof escape, "\\u%04x", character);
      result += escape;
      rest.remove_prefix(length);
    } else {
      result += rest.front();
      rest.remove_prefix(1);
    }
  }
  return result;
}

void append(Lines& lines, const Lines& more) {
  for (const std::string& line : more) lines.push_back("  " + line);
}

}  // namespace qlczephra::tools
