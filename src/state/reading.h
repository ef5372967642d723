// Typed reads of one path in a published state.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>

#include "qlczephra/value.h"
#include "state/published_state.h"
#include "state/read_cache.h"

namespace qlczephra {

// Returns the value as a T, or nullopt when it is of another kind.
template <typename T>
std::optional<T> valueAs(const Value& value) {
  if constexpr (std::is_same_v<T, bool>) {
    return value.boolean();
  } else if constexpr (std::is_same_v<T, std::int64_t>) {
    return value.wholeNumber();
  } else if constexpr (std::is_same_v<T, std::string>) {
    const auto string = value.string();
    return string ? std::optional(std::string(*string)) : std::nullopt;
  } else if constexpr (std::is_same_v<T, Map>) {
    return value.map() == nullptr ? std::nullopt : std::optional(*value.map());
  } else {
    static_assert(std::is_same_v<T, Value>);
    return value;
  }
}

// Reads with a hold on the tree. Not inlined, so that the reads that need none have no frame to set up.
template <typename T, typename Path>
[[gnu::noinline]] std::optional<T> readInTree(const PublishedState& state, const Path& path) {
  return state.read([&](const Revision* revision) -> std::optional<T> {
    if (revision == nullptr) return std::nullopt;
    const ReadCache::Entry* const known = ReadCache::lookup(revision->number, path);
    const ReadCache::Entry entry = known == nullptr ? ReadCache::insert(*revision, path) : *known;
    return entry.value() == nullptr ? std::nullopt : valueAs<T>(*entry.value());
  });
}

// Returns the value at `path` (a text or a SettingPath) as a T; nullopt when there are no settings, no such setting, or
// one of another kind. Waits for nothing.
template <typename T, typename Path>
std::optional<T> readAt(const PublishedState& state, const Path& path) {
  if constexpr (std::is_arithmetic_v<T>) {
    // No value of such a kind has a block, so what the cache knows is all of it.
    const ReadCache::Entry* const known = ReadCache::lookup(state.number(), path);
    if (known != nullptr) return valueAs<T>(known->scalar());
  }
  return readInTree<T>(state, path);
}

}  // namespace qlczephra
