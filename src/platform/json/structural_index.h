// Where the tokens of a JSON text begin. The only file that knows simdjson, and only its first stage: the walk over the
// tokens is ours, because it makes values without an intermediate document, and because the library's own walks leave
// members that nobody asks for unchecked and give up on integers beyond 64 bits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace qlczephra::json {

class StructuralIndex {
 public:
  // Checks that `text` is UTF-8 without a byte order mark and that every string is closed and free of raw control
  // characters. The text needs no padding and must outlive the index. Throws std::bad_alloc.
  explicit StructuralIndex(std::string_view text) : StructuralIndex(text, {}) {}
  // The same with the implementation of that name instead of the best one for this processor.
  StructuralIndex(std::string_view text, const std::string& implementationName);

  // Returns the names of the implementations that this processor can run.
  [[nodiscard]] static std::vector<std::string> implementations();

  // Why the text is no JSON, in lower case; null when these checks found nothing.
  [[nodiscard]] const char* error() const noexcept { return error_; }

  // Positions of the first byte of every token outside strings: each bracket, comma, colon, opening quote, and the
  // start of every other run of bytes that are not white space.
  [[nodiscard]] const std::uint32_t* begin() const noexcept { return positions_.get(); }
  [[nodiscard]] const std::uint32_t* end() const noexcept { return positions_.get() + count_; }

 private:
  const char* error_ = nullptr;
  std::unique_ptr<std::uint32_t[]> positions_;
  std::size_t count_ = 0;
};

}  // namespace qlczephra::json
