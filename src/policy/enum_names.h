// Tables of the words that stand for enumeration values in the settings.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace qlczephra::policy {

template <typename Enumeration>
struct Word {
  std::string_view word;
  Enumeration value;
};

// What an exact, case-sensitive match of the whole word stands for; none for another word and for none.
template <typename Enumeration, std::size_t count>
[[nodiscard]] std::optional<Enumeration> valueOfWord(const Word<Enumeration> (&table)[count],
                                                     std::optional<std::string_view> word) noexcept {
  for (const auto& entry : table) {
    if (word == entry.word) return entry.value;
  }
  return std::nullopt;
}

}  // namespace qlczephra::policy
