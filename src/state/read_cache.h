// Per-thread cache: (revision, path) -> value.
//
// Walking down a tree costs a search in each group on the way, and most reads ask again for what was asked before. Each
// thread keeps what it found, so nothing is shared and nothing waits. An entry is good for one revision, whose number
// is never used again. Values without blocks (booleans, numbers, short strings) are kept themselves: reading them again
// touches no tree.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string_view>

#include "qlczephra/setting_path.h"
#include "state/published_state.h"

namespace qlczephra {

class ReadCache {
 public:
  // What is at a path.
  class Entry {
   public:
    Entry() noexcept = default;
    explicit Entry(const Value* value) noexcept;

    // Null when there is no value. A list, map or long string points into the tree, and is good as long as the
    // revision is held.
    [[nodiscard]] const Value* value() const noexcept {
      return inTree_ != nullptr ? inTree_ : isThere_ ? &copy_ : nullptr;
    }
    // The value if it has no block, otherwise null. Needs no hold on the revision.
    [[nodiscard]] const Value& scalar() const noexcept { return copy_; }

   private:
    Value copy_;
    const Value* inTree_ = nullptr;
    bool isThere_ = false;
  };

  // Returns what this thread found at a path in the revision of this number; null when it does not know. Good until the
  // thread reads something else.
  [[nodiscard]] static const Entry* lookup(std::uint64_t revision, std::string_view path) noexcept {
    const ReadCache* const cache = ofThread_;
    if (cache == nullptr) return nullptr;
    const std::uint64_t tag = tagOf(revision, path);
    const Set& set = cache->sets_[setOf(tag)];
    for (std::size_t way = 0; way < ways; ++way) {
      if (set.tags[way] == tag && set.slots[way].isFor(revision, path)) return &set.slots[way].entry;
    }
    return nullptr;
  }
  [[nodiscard]] static const Entry* lookup(std::uint64_t revision, const SettingPath& path) noexcept {
    const ReadCache* const cache = ofThread_;
    if (cache == nullptr) return nullptr;
    const std::size_t place = placeOf(revision, path);
    const Slot& slot = cache->sets_[place / ways].slots[place % ways];
    return slot.revision == revision && slot.id == path.id() ? &slot.entry : nullptr;
  }

  // Finds what is at a path in `revision`, which the caller holds, and keeps it.
  static Entry insert(const Revision& revision, std::string_view path) noexcept;
  static Entry insert(const Revision& revision, const SettingPath& path) noexcept;

 private:
  static constexpr std::size_t sets = 128;
  static constexpr std::size_t ways = 4;
  static constexpr std::size_t longestPath = 108;  // six names of 17 bytes

  static constexpr std::uint64_t mixer = 0x9E3779B97F4A7C15U;  // odd, its bits without a pattern

  struct Slot {
    std::uint64_t revision = 0;
    std::uint64_t id = 0;  // of a prepared path; 0 for a text
    Entry entry;
    std::uint32_t length = 0;
    std::array<char, longestPath> path{};

    [[nodiscard]] bool isFor(std::uint64_t wanted, std::string_view text) const noexcept {
      return revision == wanted && id == 0 && length == text.size() &&
             std::memcmp(path.data(), text.data(), length) == 0;
    }
  };
  // The tags stand together: one look at memory tells of all ways.
  struct alignas(64) Set {
    std::array<std::uint64_t, ways> tags{};
    std::size_t oldest = 0;
    std::array<Slot, ways> slots{};
  };
  static_assert(sets * sizeof(Set) <= std::size_t{96} * 1024);

  // A text may stand in any place of its set.
  static std::uint64_t tagOf(std::uint64_t revision, std::string_view path) noexcept {
    return std::hash<std::string_view>()(path) ^ revision * mixer;
  }
  static std::size_t setOf(std::uint64_t tag) noexcept { return tag % sets; }
  // Prepared paths that were made one after the other, as those of a program mostly are, have a place each.
  static std::size_t placeOf(std::uint64_t revision, const SettingPath& path) noexcept {
    return (path.id() + (revision * mixer >> 32U)) % (sets * ways);
  }

  // Returns this thread's cache, which is made when the thread has read often enough; null until then.
  static ReadCache* ofReadingThread() noexcept;

  std::array<Set, sets> sets_{};

  struct Owner;
  // Null for a thread that has read only a few times so far.
  static constinit thread_local ReadCache* ofThread_ __attribute__((tls_model("initial-exec")));
};

}  // namespace qlczephra
