// Dotted paths: names joined by ".", nothing escaped, empty names kept.
#pragma once

#include <cstddef>
#include <string_view>

namespace qlczephra {

// Walks over the names of a path without copying them. An empty path has one empty name.
class PathNames {
 public:
  explicit PathNames(std::string_view path) noexcept : rest_(path) { advance(); }

  [[nodiscard]] std::string_view name() const noexcept { return name_; }
  [[nodiscard]] bool isLast() const noexcept { return last_; }
  // Not to be called on the last name.
  void advance() noexcept {
    const std::size_t dot = rest_.find('.');
    last_ = dot == std::string_view::npos;
    name_ = rest_.substr(0, dot);
    if (!last_) rest_.remove_prefix(dot + 1);
  }

 private:
  std::string_view rest_;
  std::string_view name_;
  bool last_ = false;
};

}  // namespace qlczephra
