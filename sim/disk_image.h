// What a disk holds when a process begins: the content of its files, and its directories.
#pragma once

#include <map>
#include <set>
#include <string>

namespace qlczephra::sim {

struct DiskImage {
  std::map<std::string, std::string> files;  // by path
  std::set<std::string> directories;
};

}  // namespace qlczephra::sim
