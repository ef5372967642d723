// Where the paths that a thread reads lead in the revisions that it reads them in.
//
// Walking down a tree costs a search in each of the groups on the way; most reads ask again for what was asked before.
// Each thread keeps what it found, so nothing is shared and nothing waits. An entry is good for one revision only,
// whose number is never used again; with the next one the thread finds its way anew.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "manager/published_state.h"
#include "qlczephra/setting_path.h"

namespace qlczephra {

class ReadCache {
 public:
  // The value at a path; null when there is none. `revision` is held by the caller, and the result points into it.
  [[nodiscard]] static const Value* find(const Revision& revision, std::string_view path) noexcept {
    ReadCache* const cache = ofThread_;
    if (cache == nullptr || path.size() > longestPath) return findWithout(revision, path);
    const std::uint64_t tag = hashOf(path) ^ mixed(revision.number);
    Set& set = cache->sets_[tag % sets];
    for (std::size_t way = 0; way < ways; ++way) {
      if (set.tags[way] == tag && set.entries[way].isFor(revision, path)) return set.entries[way].value;
    }
    return remember(set, tag, revision, path);
  }
  [[nodiscard]] static const Value* find(const Revision& revision, const SettingPath& path) noexcept {
    ReadCache* const cache = ofThread_;
    if (cache == nullptr) return findWithout(revision, path.text());
    // Paths that were made one after the other, as those of a program mostly are, have a place each.
    ById& entry = cache->byId_[(path.id() + mixed(revision.number)) % places];
    if (entry.revision == revision.number && entry.id == path.id()) return entry.value;
    return remember(entry, revision, path);
  }

 private:
  static constexpr std::size_t sets = 256;
  static constexpr std::size_t ways = 4;
  static constexpr std::size_t places = 512;
  static constexpr std::size_t longestPath = 108;  // six names of 17 bytes; makes an entry 128 bytes

  struct ByText {
    std::uint64_t revision = 0;
    const Value* value = nullptr;
    std::uint32_t length = 0;
    std::array<char, longestPath> path{};

    [[nodiscard]] bool isFor(const Revision& wanted, std::string_view text) const noexcept {
      return revision == wanted.number && length == text.size() && std::memcmp(path.data(), text.data(), length) == 0;
    }
  };
  // The tags stand together: one look at memory tells of all ways.
  struct alignas(64) Set {
    std::array<std::uint64_t, ways> tags{};
    std::size_t oldest = 0;
    std::array<ByText, ways> entries{};
  };
  struct ById {
    std::uint64_t revision = 0;
    std::uint64_t id = 0;
    const Value* value = nullptr;
  };

  static constexpr std::uint64_t mixer = 0x9E3779B97F4A7C15U;  // odd, its bits without a pattern
  static std::uint64_t mixed(std::uint64_t number) noexcept { return folded(number, mixer); }

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

  static const Value* findWithout(const Revision& revision, std::string_view path) noexcept;
  static const Value* remember(Set& set, std::uint64_t tag, const Revision& revision, std::string_view path) noexcept;
  static const Value* remember(ById& entry, const Revision& revision, const SettingPath& path) noexcept;

  std::array<Set, sets> sets_{};
  std::array<ById, places> byId_{};

  struct Owner;
  // Null for a thread that has read only a few times so far.
  static constinit thread_local ReadCache* ofThread_ __attribute__((tls_model("initial-exec")));
};

}  // namespace qlczephra
