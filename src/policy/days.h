// The days of the week as the settings name them, and the paths of settings that each day has.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace qlczephra::policy {

// In this order everywhere; scheduled scanning numbers the days from 1 in it.
inline constexpr std::array<std::string_view, 7> dayNames = {"monday", "tuesday",  "wednesday", "thursday",
                                                             "friday", "saturday", "sunday"};

// `prefix` + day name + `suffix` for each day, made by the compiler: no view builds a path when it runs.
class DayPaths {
 public:
  consteval DayPaths(std::string_view prefix, std::string_view suffix) {
    for (std::size_t day = 0; day < dayNames.size(); ++day) {
      for (const std::string_view piece : {prefix, dayNames[day], suffix}) {
        std::copy(piece.begin(), piece.end(), &text_[day][length_[day]]);
        length_[day] += piece.size();
      }
    }
  }

  [[nodiscard]] constexpr std::string_view operator[](std::size_t day) const noexcept {
    return {text_[day].data(), length_[day]};
  }

 private:
  std::array<std::array<char, 64>, dayNames.size()> text_{};
  std::array<std::size_t, dayNames.size()> length_{};
};

}  // namespace qlczephra::policy
