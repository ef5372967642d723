#include "tools/text_table.h"

#include <algorithm>

#include "platform/json/json.h"

namespace qlczephra::tools {
namespace {

// Characters, not bytes: those of UTF-8 that continue a character are not counted.
std::size_t widthOf(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
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
  const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
  if (std::none_of(text.begin(), text.end(), isControl)) return std::string(text);
  return json::write(Value(text)).value_or("?");
}

void append(Lines& lines, const Lines& more) {
  for (const std::string& line : more) lines.push_back("  " + line);
}

}  // namespace qlczephra::tools
