// How large what the library takes in may be. Checked where data enters, so that everything that was accepted can be
// written, read back, sent, fetched again and freed, and no input costs much more memory than its own size.
#pragma once

#include <cstddef>

namespace qlczephra::limits {

// A document of the service.
inline constexpr std::size_t documentNesting = 512;       // lists and maps inside each other
inline constexpr std::size_t documentValues = 1U << 22U;  // members and elements of all maps and lists

// Anywhere; bytes of UTF-8.
inline constexpr std::size_t keyLength = 0xFFFF;
inline constexpr std::size_t stringLength = 1U << 24U;

// A change: the names of its path and the lists and maps of its value nest as deep as they can stand under "data" and
// "values" in a document, so that what is sent can come back.
inline constexpr std::size_t changeNesting = documentNesting - 2;

// All changes that the service has not confirmed, those being sent included.
inline constexpr std::size_t pendingValues = 1U << 18U;  // members and elements
inline constexpr std::size_t pendingBytes = 3U << 23U;   // keys and strings; twice as many as JSON, all escaped

}  // namespace qlczephra::limits
