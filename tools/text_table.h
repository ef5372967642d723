// Text in columns, for a terminal.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qlczephra::tools {

using Lines = std::vector<std::string>;

// One line a row; columns as wide as their widest cell, two blanks between them, none at the end of a line.
[[nodiscard]] Lines tableLines(const std::vector<std::vector<std::string>>& rows);

// The text as it stands; as a JSON string when it holds a control character, which could break the table or steer the
// terminal.
[[nodiscard]] std::string cell(std::string_view text);

// The text as a JSON string, with every control character escaped, also those that JSON leaves as they are.
[[nodiscard]] std::string quoted(std::string_view text);

// Adds `more` to `lines`, each line two blanks further in.
void append(Lines& lines, const Lines& more);

}  // namespace qlczephra::tools
