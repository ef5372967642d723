// An input made of several texts, with the record separator (0x1E) between them: no JSON text holds it, so a corpus of
// such inputs stays legible.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/json/json.h"
#include "qlczephra/value.h"

namespace qlczephra::fuzz {

class Pieces {
 public:
  Pieces(const std::uint8_t* data, std::size_t size) noexcept : rest_(reinterpret_cast<const char*>(data), size) {}

  [[nodiscard]] bool atEnd() const noexcept { return rest_.empty(); }
  // The text up to the next separator; empty at the end.
  [[nodiscard]] std::string_view next() noexcept { return upTo('\x1E'); }
  // The text up to the next separator of another kind.
  [[nodiscard]] std::string_view upTo(char separator) noexcept {
    const std::size_t length = rest_.find(separator);
    const std::string_view piece = rest_.substr(0, length);
    rest_.remove_prefix(length == std::string_view::npos ? rest_.size() : length + 1);
    return piece;
  }
  // All that is left.
  [[nodiscard]] std::string_view rest() const noexcept { return rest_; }

 private:
  std::string_view rest_;
};

[[nodiscard]] inline std::optional<Value> valueIn(std::string_view text) {
  auto read = json::read(text);
  return std::holds_alternative<Value>(read) ? std::optional(std::get<Value>(std::move(read))) : std::nullopt;
}

[[nodiscard]] inline std::optional<Map> mapIn(std::string_view text) {
  const std::optional<Value> value = valueIn(text);
  return value && value->map() != nullptr ? std::optional(*value->map()) : std::nullopt;
}

}  // namespace qlczephra::fuzz
