// Where benchmarks keep files; which disk that is decides what they measure.
#pragma once

#include <string>

namespace qlczephra::bench {

// A new directory, empty, below the one that the environment's QLCZEPHRA_BENCH_DIR names, or the present one. Goes
// with the object.
class BenchDirectory {
 public:
  BenchDirectory();
  ~BenchDirectory();
  BenchDirectory(const BenchDirectory&) = delete;
  BenchDirectory& operator=(const BenchDirectory&) = delete;

  [[nodiscard]] std::string file(const std::string& name) const { return path_ + "/" + name; }
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
};

[[nodiscard]] std::string viewOf(const std::string& path);

}  // namespace qlczephra::bench
