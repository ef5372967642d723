// Small whole files. For the program's inputs and outputs; nothing here is fast.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qlczephra::service {

// The whole content; none when the file cannot be read.
[[nodiscard]] std::optional<std::string> readFile(const std::string& path);

// Replaces the file at once and durably: whoever reads sees the old content or the new one. The file is for its owner
// alone. False when it could not be written; the old file then stays. Two writers of one path must take turns.
[[nodiscard]] bool replaceFile(const std::string& path, std::string_view content);

}  // namespace qlczephra::service
