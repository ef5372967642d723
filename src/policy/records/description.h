// The textual description of records: one line, "<Class: field value, field value>". Strings stand in quotation marks
// with line breaks and other control characters escaped, so that no setting can forge a line of a log.
#pragma once

#include <concepts>
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
    for (const char character : text) {
      const auto byte = static_cast<unsigned char>(character);
      if (character == '"' || character == '\\') {
        text_ += '\\';
        text_ += character;
      } else if (byte < 0x20 || byte == 0x7F) {
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\x%02X", static_cast<unsigned>(byte));
        text_ += escape;
      } else {
        text_ += character;
      }
    }
    text_ += '"';
  }

  std::string text_;
  bool first_ = true;
};

}  // namespace qlczephra
