// Replacing a file as a whole: readers see the old content or the new one, never a part, also after a power cut.
#pragma once

#include <string>
#include <string_view>

#include "platform/file_store.h"

namespace qlczephra::platform {

// The directory part of a path, "." when it has none.
[[nodiscard]] std::string directoryOf(const std::string& path);

// Writes a new file beside `path` (0600), flushes it and renames it to `path`; a link there is replaced, not followed.
// When any step fails the old file stays and the new one is removed as far as possible. The new name is durable only
// after the directory was flushed, which is left to the caller, who may have several changes to make so at once.
[[nodiscard]] FileStatus replaceFile(FileStore& files, const std::string& path, std::string_view content);

// Removes what interrupted replacements of `path` left beside it, at the cost of a few calls when there is nothing.
// Only while nobody else replaces that file.
void removeStaleReplacements(FileStore& files, const std::string& path);

}  // namespace qlczephra::platform
