// Runs a fuzz target without libFuzzer: TARGET [-mutations=N] [-seed=S] (FILE|DIRECTORY)...
//
// Every file is an input, and so are N changed copies of each. The last file named on standard error before a crash is
// the one that leads to it; the same seed gives the same copies again.
#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "fuzz/require.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes viewOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// A few bytes erased, changed, inserted, or copied from elsewhere in the input.
void mutate(Bytes& input, std::mt19937_64& random) {
  const auto below = [&](std::size_t limit) { return static_cast<std::size_t>(random() % limit); };
  for (auto changes = 1 + below(4); changes > 0 && !input.empty(); --changes) {
    const auto at = input.begin() + static_cast<std::ptrdiff_t>(below(input.size()));
    const auto length = static_cast<std::ptrdiff_t>(1 + below(8));
    const auto end = input.end() - at > length ? at + length : input.end();
    switch (below(5)) {
      case 0:
        input.erase(at, end);
        break;
      case 1:
        *at = static_cast<std::uint8_t>(random());
        break;
      case 2:
        *at ^= static_cast<std::uint8_t>(1U << below(8));
        break;
      case 3:
        input.insert(at, static_cast<std::uint8_t>(random()));
        break;
      default: {
        const Bytes piece(at, end);
        input.insert(input.begin() + static_cast<std::ptrdiff_t>(below(input.size())), piece.begin(), piece.end());
        break;
      }
    }
  }
}

// The number behind `name` in an argument such as "-seed=1".
bool takeOption(std::string_view argument, std::string_view name, std::uint64_t& number) {
  if (!argument.starts_with(name)) return false;
  argument.remove_prefix(name.size());
  return std::from_chars(argument.data(), argument.data() + argument.size(), number).ec == std::errc{};
}

void run(const Bytes& input) {
  // A copy of just this size lets the address sanitizer see any step over the end.
  const Bytes exact(input);
  LLVMFuzzerTestOneInput(exact.data(), exact.size());
}

}  // namespace

int main(int argc, char** argv) {
  std::uint64_t mutations = 0, seed = 1;
  std::vector<std::filesystem::path> files;
  for (const std::string_view argument : std::vector<std::string_view>(argv + 1, argv + argc)) {
    if (takeOption(argument, "-mutations=", mutations) || takeOption(argument, "-seed=", seed)) continue;
    if (!std::filesystem::is_directory(argument)) {
      files.emplace_back(argument);
      continue;
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(argument)) {
      if (entry.is_regular_file()) files.push_back(entry.path());
    }
  }
  if (files.empty()) {
    std::cerr << "no input\n";
    return 2;
  }
  std::sort(files.begin(), files.end());

  for (const auto& file : files) {
    const Bytes input = viewOf(file);
    std::cerr << file.filename().string() << ", seed " << seed << '\n';
    run(input);
    std::mt19937_64 random(seed);
    for (std::uint64_t i = 0; i < mutations; ++i) {
      Bytes changed = input;
      mutate(changed, random);
      run(changed);
    }
  }
  std::cout << files.size() * (mutations + 1) << " inputs\n";
  return 0;
}
