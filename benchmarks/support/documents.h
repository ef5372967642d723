// Settings documents of any size, as a service would send them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qlczephra::bench {

// The sizes that everything is measured with: about 50 KB, 1 MB and 18 MB of JSON.
inline constexpr std::size_t documentSizes[] = {300, 5'000, 100'000};

struct Document {
  std::string text;  // JSON
  // Dotted paths of 4 to 6 names to boolean settings that exist, spread over the document.
  std::vector<std::string> booleans;
  // As many that lead nowhere; their first names exist.
  std::vector<std::string> missing;
  // Paths to integer settings that may be changed.
  std::vector<std::string> integers;
};

// A document with so many settings; the same for the same seed. Six of ten settings are "common", three "macos", one
// "windows"; they are booleans, integers, strings, lists and maps, and seven of ten have a value beside their default.
[[nodiscard]] Document documentOf(std::size_t settings, std::uint64_t seed = 1);

// Paths to read in turn: three of four lead to a boolean. `count` of them, in an order without a pattern.
[[nodiscard]] std::vector<std::string> pathsToRead(const Document& document, std::size_t count, std::uint64_t seed = 1);

}  // namespace qlczephra::bench
