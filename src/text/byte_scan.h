// Classes of bytes, looked at 16 bytes at a step where the processor can.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace qlczephra {

// Classes of bytes. Each tells of one byte whether it belongs, and of 16 at once (all bits of a member's lane set).
namespace bytes {

struct NonAscii {
  static constexpr bool has(char byte) noexcept { return static_cast<unsigned char>(byte) >= 0x80; }
#ifdef __SSE2__
  static __m128i in(__m128i block) noexcept {
    return _mm_cmplt_epi8(block, _mm_setzero_si128());
  }
#endif
};

// Below the blank.
struct Control {
  static constexpr bool has(char byte) noexcept { return static_cast<unsigned char>(byte) < ' '; }
#ifdef __SSE2__
  static __m128i in(__m128i block) noexcept {
    return _mm_cmpeq_epi8(_mm_min_epu8(block, _mm_set1_epi8(' ' - 1)), block);
  }
#endif
};

struct ControlOrNonAscii {
  static constexpr bool has(char byte) noexcept { return Control::has(byte) || NonAscii::has(byte); }
#ifdef __SSE2__
  static __m128i in(__m128i block) noexcept {
    return _mm_cmplt_epi8(block, _mm_set1_epi8(' '));  // signed, so that one comparison tells of both
  }
#endif
};

template <char... members>
struct AnyOf {
  static constexpr bool has(char byte) noexcept { return ((byte == members) || ...); }
#ifdef __SSE2__
  static __m128i in(__m128i block) noexcept {
    __m128i found = _mm_setzero_si128();
    ((found = _mm_or_si128(found, _mm_cmpeq_epi8(block, _mm_set1_epi8(members)))), ...);
    return found;
  }
#endif
};

template <typename Left, typename Right>
struct Either {
  static constexpr bool has(char byte) noexcept { return Left::has(byte) || Right::has(byte); }
#ifdef __SSE2__
  static __m128i in(__m128i block) noexcept {
    return _mm_or_si128(Left::in(block), Right::in(block));
  }
#endif
};

struct LowerCase {
  static constexpr bool has(char byte) noexcept { return byte >= 'a' && byte <= 'z'; }
#ifdef __SSE2__
  static __m128i in(__m128i block) noexcept {
    const __m128i distance = _mm_sub_epi8(block, _mm_set1_epi8('a'));
    return _mm_cmpeq_epi8(_mm_min_epu8(distance, _mm_set1_epi8('z' - 'a')), distance);
  }
#endif
};

template <typename Class>
struct Not {
  static constexpr bool has(char byte) noexcept { return !Class::has(byte); }
#ifdef __SSE2__
  static __m128i in(__m128i block) noexcept {
    return _mm_cmpeq_epi8(Class::in(block), _mm_setzero_si128());
  }
#endif
};

template <typename Whole, typename Excluded>
struct Without {
  static constexpr bool has(char byte) noexcept { return Whole::has(byte) && !Excluded::has(byte); }
#ifdef __SSE2__
  static __m128i in(__m128i block) noexcept {
    return _mm_andnot_si128(Excluded::in(block), Whole::in(block));
  }
#endif
};

}  // namespace bytes

// A bit for each of the 16 bytes from `block` on that is of the class, the first byte's being the lowest.
template <typename Class>
[[nodiscard]] inline std::uint32_t bitsOf(const char* block) noexcept {
#ifdef __SSE2__
  return static_cast<std::uint32_t>(
      _mm_movemask_epi8(Class::in(_mm_loadu_si128(reinterpret_cast<const __m128i*>(block)))));
#else
  std::uint32_t bits = 0;
  for (unsigned i = 0; i < 16; ++i) bits |= std::uint32_t{Class::has(block[i])} << i;
  return bits;
#endif
}

// A bit for each of the 16 bytes from `left` on that is as the one from `right` on.
[[nodiscard]] inline std::uint32_t equalBits(const char* left, const char* right) noexcept {
#ifdef __SSE2__
  const __m128i equal = _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(left)),
                                       _mm_loadu_si128(reinterpret_cast<const __m128i*>(right)));
  return static_cast<std::uint32_t>(_mm_movemask_epi8(equal));
#else
  std::uint32_t bits = 0;
  for (unsigned i = 0; i < 16; ++i) bits |= std::uint32_t{left[i] == right[i]} << i;
  return bits;
#endif
}

// Search in a range, outside of which nothing is read; `last` when there is none.
template <typename Class>
[[nodiscard]] inline const char* findFirst(const char* first, const char* last) noexcept {
#ifdef __SSE2__
  for (; last - first >= 16; first += 16) {
    const std::uint32_t found = bitsOf<Class>(first);
    if (found != 0) return first + std::countr_zero(found);
  }
#endif
  while (first != last && !Class::has(*first)) ++first;
  return first;
}

}  // namespace qlczephra
