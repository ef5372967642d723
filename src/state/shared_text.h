// A text that a manager keeps for long, or none.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "qlczephra/value.h"

namespace qlczephra {

// Two words beside the text, where an optional string takes five; copies share the text.
class SharedText {
 public:
  SharedText() noexcept = default;
  // NOLINTNEXTLINE(google-explicit-constructor): it stands for the optional string
  SharedText(const std::optional<std::string>& text) {
    if (text) text_ = Value(*text);
  }

  void reset() noexcept { text_ = Value(); }
  // Empty for none.
  [[nodiscard]] std::string_view view() const noexcept { return text_.string().value_or(std::string_view()); }
  [[nodiscard]] std::optional<std::string> text() const {
    const auto text = text_.string();
    return text ? std::optional<std::string>(*text) : std::nullopt;
  }

  friend bool operator==(const SharedText& left, const SharedText& right) noexcept { return left.text_ == right.text_; }
  friend bool operator==(const SharedText& left, const std::optional<std::string>& right) noexcept {
    return left.text_.string() == right;
  }

 private:
  Value text_;
};

}  // namespace qlczephra
