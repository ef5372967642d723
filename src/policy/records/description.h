// The textual description of records: one line, "<Class: field value, field value>". Strings stand in quotation marks
// with control characters and all line breaks that Unicode knows escaped, so that no setting can forge a line of a log.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace qlczephra {

template <typename Record>
concept Described = requires(const Record& record) {
  { record.description() } -> std::same_as<std::string>;
};

template <typename T>
inline constexpr bool isOptional = false;
template <typename T>
inline constexpr bool isOptional<std::optional<T>> = true;

class Description {
 public:
  explicit Description(std::string_view className) : text_("<") { text_ += className; }

  template <typename T>
  Description&& field(std::string_view name, const T& value) && {
    text_ += first_ ? ": " : ", ";
    first_ = false;
    text_ += name;
    text_ += ' ';
    append(value);
    return std::move(*this);
  }

  [[nodiscard]] std::string text() && {
    text_ += '>';
    return std::move(text_);
  }

 private:
  template <typename T>
  void append(const T& value) {
    if constexpr (std::same_as<T, bool>) {
      text_ += value ? "true" : "false";
    } else if constexpr (std::integral<T>) {
      text_ += std::to_string(value);
    } else if constexpr (std::convertible_to<const T&, std::string_view>) {
      appendQuoted(value);
    } else if constexpr (Described<T>) {
      text_ += value.description();
    } else if constexpr (isOptional<T>) {
      if (value) {
        append(*value);
      } else {
        text_ += "none";
      }
    } else if constexpr (requires { value.begin(); }) {
      appendAll(value);
    } else {
      text_ += nameOf(value);
    }
  }

  // Of a map its values, which name themselves.
  template <typename Range>
  void appendAll(const Range& range) {
    text_ += '[';
    bool first = true;
    for (const auto& element : range) {
      if (!std::exchange(first, false)) text_ += ", ";
      if constexpr (requires { typename Range::mapped_type; }) {
        append(element.second);
      } else {
        append(element);
      }
    }
    text_ += ']';
  }

  void appendQuoted(std::string_view text) {
    text_ += '"';
    while (!text.empty()) {
      if (const auto [character, length] = controlInFront(text); length != 0) {
        char escape[16];
        std::snprintf(escape, sizeof escape, character < 0x80 ? "\\x%02X" : "\\u%04X", character);
        text_ += escape;
        text.remove_prefix(length);
      } else {
        if (text.front() == '"' || text.front() == '\\') text_ += '\\';
        text_ += text.front();
        text.remove_prefix(1);
      }
    }
    text_ += '"';
  }

  struct Control {
    unsigned character = 0;
    std::size_t length = 0;  // in bytes of UTF-8; 0: none
  };
  static Control controlInFront(std::string_view text) {
    const auto byteAt = [text](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U; };
    if (byteAt(0) < 0x20 || byteAt(0) == 0x7F) return {byteAt(0), 1};
    if (byteAt(0) == 0xC2 && byteAt(1) >= 0x80 && byteAt(1) <= 0x9F) return {byteAt(1), 2};
    if (text.starts_with("\u2028")) return {0x2028, 3};  // line separator
    if (text.starts_with("\u2029")) return {0x2029, 3};  // paragraph separator
    return {};
  }

  std::string text_;
  bool first_ = true;
};

}  // namespace qlczephra
