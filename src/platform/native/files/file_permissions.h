// Whether others than this process's user have a say in a file.
#pragma once

#include <string>

namespace qlczephra::platform {

// What lets other users read or change the file at `path`, or replace it in its directory, in words; empty when nothing
// does or nothing is there. A directory of root's counts as safe, and so does one that others may write to in which
// only owners may rename and remove (the sticky bit).
[[nodiscard]] std::string permissionProblem(const std::string& path);

}  // namespace qlczephra::platform
