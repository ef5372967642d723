// Which categories of web content are blocked. Records are plain values, as time_limits.h says.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "qlczephra/export.h"

namespace qlczephra {

// A category. Its name and whether it is blocked stand beside it in QLContentCategories.
class QLCZEPHRA_EXPORT QLContentCategory {
 public:
  [[nodiscard]] std::string description() const;
  friend bool operator==(const QLContentCategory&, const QLContentCategory&) noexcept = default;
  friend std::ostream& operator<<(std::ostream& stream, const QLContentCategory& category) {
    return stream << category.description();
  }
};

class QLCZEPHRA_EXPORT QLContentCategories {
 public:
  struct QLCZEPHRA_EXPORT CategoryEntry {
    QLContentCategory category;
    std::string name;
    bool isBlocked = false;

    [[nodiscard]] std::string description() const;
    friend bool operator==(const CategoryEntry&, const CategoryEntry&) = default;
    friend std::ostream& operator<<(std::ostream& stream, const CategoryEntry& entry) {
      return stream << entry.description();
    }
  };

  [[nodiscard]] bool isEnabled() const noexcept { return isEnabled_; }  // false at first
  void setIsEnabled(bool isEnabled) noexcept { isEnabled_ = isEnabled; }

  // In the order added; the manager adds each name once, in the order of Map.
  [[nodiscard]] const std::vector<CategoryEntry>& categories() const& noexcept { return categories_; }
  [[nodiscard]] std::vector<CategoryEntry> categories() && noexcept { return std::move(categories_); }
  void addCategory(QLContentCategory category, std::string name, bool isBlocked) {
    categories_.push_back({category, std::move(name), isBlocked});
  }
  // Makes room for that many categories at once.
  void reserveCategories(std::size_t count) { categories_.reserve(count); }

  // One line with all that the record holds, for logs.
  [[nodiscard]] std::string description() const;
  friend bool operator==(const QLContentCategories&, const QLContentCategories&) = default;
  friend std::ostream& operator<<(std::ostream& stream, const QLContentCategories& categories) {
    return stream << categories.description();
  }

 private:
  bool isEnabled_ = false;
  std::vector<CategoryEntry> categories_;
};

}  // namespace qlczephra
