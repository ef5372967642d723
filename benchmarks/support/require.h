// What must hold before anything is measured.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace qlczephra::bench {

// Ends the program with a message unless `holds`.
inline void require(bool holds, const std::string& what) {
  if (holds) return;
  std::fprintf(stderr, "benchmark: %s\n", what.c_str());
  std::exit(1);
}

}  // namespace qlczephra::bench
