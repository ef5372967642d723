// Texts that nest as deep as one likes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qlczephra::test {

inline std::string nested(std::size_t levels, std::string_view open, std::string_view inside, std::string_view close) {
  std::string text;
  for (std::size_t i = 0; i < levels; ++i) text += open;
  text += inside;
  for (std::size_t i = 0; i < levels; ++i) text += close;
  return text;
}

}  // namespace qlczephra::test
