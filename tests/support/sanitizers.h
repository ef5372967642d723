// Whether this build runs under a sanitizer, which makes everything slower.
#pragma once

namespace qlczephra::test {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool underSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool underSanitizer = true;
#else
inline constexpr bool underSanitizer = false;
#endif
#else
inline constexpr bool underSanitizer = false;
#endif

}  // namespace qlczephra::test
