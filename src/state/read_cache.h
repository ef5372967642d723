// What the paths that a thread reads held in the revisions that it read them in.
//
// Walking down a tree costs a search in each of the groups on the way; most reads ask again for what was asked before.
// Each thread keeps what it found, so nothing is shared and nothing waits. An entry is good for one revision only,
// whose number is never used again; with the next one the thread finds its way anew. Values without blocks of their
// own, as booleans, numbers and short strings are, are kept themselves: reading them again touches no tree.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "qlczephra/setting_path.h"
#include "state/published_state.h"

namespace qlczephra {

class ReadCache {
 public:
  // What is at a path.
  class Found {
   public:
    Found() noexcept = default;
    explicit Found(const Value* value) noexcept;

    // Whether the value stands in the tree, and is good as long as the revision is held only.
    [[nodiscard]] bool isInTree() const noexcept { return inTree_ != nullptr; }
    // Null when there is none.
    [[nodiscard]] const Value* value() const noexcept { return isInTree() ? inTree_ : isThere_ ? &itself_ : nullptr; }
    // The value if it is not in the tree, otherwise null.
    [[nodiscard]] const Value& itself() const noexcept { return itself_; }

   private:
    Value itself_;
    const Value* inTree_ = nullptr;
    bool isThere_ = false;
  };

  // What the thread found at a path in the revision of this number; null when it does not know. Good until the thread
  // reads something else.
  [[nodiscard]] static const Found* lookup(std::uint64_t revision, std::string_view path) noexcept {
    const ReadCache* const cache = ofThread_;
    if (cache == nullptr || path.size() > longestPath) return nullptr;
    const std::uint64_t tag = tagOf(revision, path);
    const Set& set = cache->sets_[tag % sets];
    for (std::size_t way = 0; way < ways; ++way) {
      if (set.tags[way] == tag && set.entries[way].isFor(revision, path)) return &set.entries[way].found;
    }
    return nullptr;
  }
  [[nodiscard]] static const Found* lookup(std::uint64_t revision, const SettingPath& path) noexcept {
    const ReadCache* const cache = ofThread_;
    if (cache == nullptr) return nullptr;
    const ById& entry = cache->byId_[placeOf(revision, path)];
    return entry.revision == revision && entry.id == path.id() ? &entry.found : nullptr;
  }

  // Finds what is at a path, and keeps it. `revision` is held by the caller.
  [[nodiscard]] static Found find(const Revision& revision, std::string_view path) noexcept;
  [[nodiscard]] static Found find(const Revision& revision, const SettingPath& path) noexcept;

 private:
  static constexpr std::size_t sets = 256;
  static constexpr std::size_t ways = 4;
  static constexpr std::size_t places = 512;
  static constexpr std::size_t longestPath = 108;  // six names of 17 bytes

  struct ByText {
    std::uint64_t revision = 0;
    Found found;
    std::uint32_t length = 0;
    std::array<char, longestPath> path{};

    [[nodiscard]] bool isFor(std::uint64_t wanted, std::string_view text) const noexcept {
      return revision == wanted && length == text.size() && std::memcmp(path.data(), text.data(), length) == 0;
    }
  };
  // The tags stand together: one look at memory tells of all ways.
  struct alignas(64) Set {
    std::array<std::uint64_t, ways> tags{};
    std::size_t oldest = 0;
    std::array<ByText, ways> entries{};
  };
  struct alignas(64) ById {
    std::uint64_t revision = 0;
    std::uint64_t id = 0;
    Found found;
  };

  static constexpr std::uint64_t mixer = 0x9E3779B97F4A7C15U;  // odd, its bits without a pattern
  static std::uint64_t mixed(std::uint64_t number) noexcept { return folded(number, mixer); }
  static std::uint64_t tagOf(std::uint64_t revision, std::string_view path) noexcept {
    return hashOf(path) ^ mixed(revision);
  }
  // Paths that were made one after the other, as those of a program mostly are, have a place each.
  static std::size_t placeOf(std::uint64_t revision, const SettingPath& path) noexcept {
    return (path.id() + (revision * mixer >> 32U)) % places;
  }

  static std::uint64_t wordAt(const char* bytes) noexcept {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
  }
  static std::uint64_t folded(std::uint64_t left, std::uint64_t right) noexcept {
    __extension__ using Wide = unsigned __int128;
    const Wide product = Wide{left} * right;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64U);
  }
  // Spreads paths over the places; who chooses paths so that they meet slows down his own reads only.
  static std::uint64_t hashOf(std::string_view path) noexcept {
    const char* bytes = path.data();
    std::size_t left = path.size();
    std::uint64_t hash = left;
    for (; left > 16; bytes += 16, left -= 16) hash = folded(wordAt(bytes) ^ mixer, wordAt(bytes + 8) ^ hash);
    std::uint64_t low = 0;
    std::uint64_t high = 0;
    if (left >= 8) {
      low = wordAt(bytes);
      high = wordAt(bytes + left - 8);
    } else {
      for (std::size_t i = 0; i < left; ++i) low = low << 8U | static_cast<unsigned char>(bytes[i]);
    }
    return folded(low ^ mixer, high ^ hash);
  }

  // This thread's, made when it has read often enough; null until then.
  static ReadCache* made() noexcept;

  std::array<Set, sets> sets_{};
  std::array<ById, places> byId_{};

  struct Owner;
  // Null for a thread that has read only a few times so far.
  static constinit thread_local ReadCache* ofThread_ __attribute__((tls_model("initial-exec")));
};

}  // namespace qlczephra
