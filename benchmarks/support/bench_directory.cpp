#include "benchmarks/support/bench_directory.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "benchmarks/support/require.h"

namespace qlczephra::bench {

BenchDirectory::BenchDirectory() {
  const char* const base = std::getenv("QLCZEPHRA_BENCH_DIR");
  path_ = std::string(base == nullptr ? "." : base) + "/qlczephra-bench-XXXXXX";
  require(::mkdtemp(path_.data()) != nullptr, "no directory can be made as " + path_);
}

BenchDirectory::~BenchDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string viewOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace qlczephra::bench
