// Property lists as nearly all are written, recognised by comparing whole blocks: no comment, attribute, reference or
// blank but between elements, and text of printable ASCII. Whatever is not like that, and the last few bytes of a text,
// is left where it stands, for the scanner that knows all of XML.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

#include "platform/plist/xml_characters.h"
#include "text/byte_scan.h"

namespace qlczephra::plist {

class PlainMarkup {
 public:
  explicit PlainMarkup(std::string_view text) noexcept : at_(text.data()), last_(text.data() + text.size()) {}

  // What was not taken.
  [[nodiscard]] std::string_view rest() const noexcept { return {at_, last_}; }

  // Passes white space up to a tag; false when none comes, or the text ends soon. After that, tags may be asked for and
  // taken. Where a line feed and so many `tabs` come, as expected, the next step need not wait until they are counted;
  // nor for a call, of which there are as many as tags.
  [[gnu::always_inline]] bool toTag(std::size_t tabs) noexcept {
    static constexpr char line[] = "\n\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t";
    if (last_ - at_ < margin) return false;
    const std::uint32_t asExpected = equalBits(at_, line);
    const std::size_t length = tabs + 1;
    if (length <= block && at_[length] == '<' && (~asExpected & ((1U << length) - 1)) == 0) {
      at_ += length;
      return true;
    }
    at_ += std::countr_one(asExpected);
    return *at_ == '<' || toTagBehindBlanks();
  }

  // The letter that tells most tags apart.
  [[nodiscard]] char initial() const noexcept { return at_[1]; }

  template <std::size_t size>
  bool takeIf(const char (&literal)[size]) noexcept {
    static_assert(size - 1 <= longestTag);
    if (std::memcmp(at_, literal, size - 1) != 0) return false;
    at_ += size - 1;
    return true;
  }

  // The text up to an end tag, with both passed; from the text's first byte on 16 can be read.
  template <std::size_t size>
  std::optional<std::string_view> takeText(const char (&endTag)[size]) noexcept {
    const char* const first = at_;
    const char* last = first;
    std::uint32_t found = 0;
    for (;; last += block) {
      if (last_ - last < margin) return std::nullopt;
      found = bitsOf<Unusual>(last);
      if (found != 0) break;
    }
    last += std::countr_zero(found);
    at_ = last;
    if (takeIf(endTag)) return std::string_view(first, last);
    at_ = first;
    return std::nullopt;
  }

  // <true/> or <false/>. Without a branch between the two, which would be guessed wrong half of the time.
  std::optional<bool> takeBoolean() noexcept {
    const bool isTrue = std::memcmp(at_, "<true/>", 7) == 0;
    const bool isFalse = std::memcmp(at_, "<false/>", 8) == 0;
    if (!(isTrue | isFalse)) return std::nullopt;
    at_ += 8 - std::ptrdiff_t{isTrue};
    return isTrue;
  }

  // A decimal integer and its end tag, both passed; none when it is so long that it may be beyond 64 bits.
  std::optional<std::int64_t> takeInteger() noexcept {
    constexpr std::ptrdiff_t mostDigits = 18;
    if (last_ - at_ < margin) return std::nullopt;
    const char* const start = at_;
    const bool isNegative = *at_ == '-';
    at_ += isNegative ? 1 : 0;
    const char* const first = at_;
    std::int64_t magnitude = 0;
    for (; *at_ >= '0' && *at_ <= '9' && at_ - first < mostDigits; ++at_) magnitude = 10 * magnitude + (*at_ - '0');
    if (at_ != first && takeIf("</integer>")) return isNegative ? -magnitude : magnitude;
    at_ = start;
    return std::nullopt;
  }

 private:
  static constexpr std::size_t block = 16;
  static constexpr std::ptrdiff_t longestTag = 10;
  // So much may be looked at without asking: two blocks, and a tag behind them.
  static constexpr std::ptrdiff_t margin = std::ptrdiff_t{3 * block};

  // What text cannot have at all, what it has only as a part of other markup, and what needs a second look.
  using Unusual = bytes::Either<bytes::ControlOrNonAscii, bytes::AnyOf<'<', '&', ']'>>;

  [[gnu::noinline]] bool toTagBehindBlanks() noexcept {
    at_ = findFirst<bytes::Not<Blank>>(at_, last_);
    return last_ - at_ >= margin && *at_ == '<';
  }

  const char* at_;
  const char* last_;
};

}  // namespace qlczephra::plist
