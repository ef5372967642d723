#include "state/read_cache.h"

#include <memory>
#include <new>

#include "document/tree_walk.h"

namespace qlczephra {

constinit thread_local ReadCache* ReadCache::ofThread_ = nullptr;

struct ReadCache::Owner {
  // A thread that comes and goes, as those of some hosts do for each task, is not worth the memory.
  static constexpr int enoughReads = 64;
  std::unique_ptr<ReadCache> cache;
  int readsBefore = 0;
  // Objects of the thread that go later may still read.
  ~Owner() {
    ofThread_ = nullptr;
    readsBefore = enoughReads;
  }
};

namespace {

constexpr std::size_t longestInlineString = 15;

bool hasNoBlock(const Value& value) noexcept {
  const auto string = value.string();
  return string ? string->size() <= longestInlineString : value.list() == nullptr && value.map() == nullptr;
}

}  // namespace

ReadCache::Entry::Entry(const Value* value) noexcept : isThere_(value != nullptr) {
  if (value == nullptr) return;
  if (hasNoBlock(*value)) {
    copy_ = *value;
  } else {
    inTree_ = value;
  }
}

ReadCache* ReadCache::ofReadingThread() noexcept {
  static thread_local Owner owner;
  if (ofThread_ == nullptr && owner.readsBefore < Owner::enoughReads && ++owner.readsBefore == Owner::enoughReads) {
    owner.cache.reset(new (std::nothrow) ReadCache);
    ofThread_ = owner.cache.get();
  }
  return ofThread_;
}

ReadCache::Entry ReadCache::insert(const Revision& revision, std::string_view path) noexcept {
  Entry entry(document::valueAt(revision.tree, path));
  ReadCache* const cache = ofReadingThread();
  if (cache == nullptr || path.size() > longestPath) return entry;
  const std::uint64_t tag = tagOf(revision.number, path);
  Set& set = cache->sets_[setOf(tag)];
  const std::size_t way = set.oldest++ % ways;
  set.tags[way] = tag;
  Slot& slot = set.slots[way];
  slot.revision = revision.number;
  slot.id = 0;
  slot.entry = entry;
  slot.length = static_cast<std::uint32_t>(path.size());
  path.copy(slot.path.data(), path.size());
  return entry;
}

ReadCache::Entry ReadCache::insert(const Revision& revision, const SettingPath& path) noexcept {
  Entry entry(document::valueAt(revision.tree, path.text()));
  if (ReadCache* const cache = ofReadingThread()) {
    const std::size_t place = placeOf(revision.number, path);
    Slot& slot = cache->sets_[place / ways].slots[place % ways];
    slot.revision = revision.number;
    slot.id = path.id();
    slot.entry = entry;
  }
  return entry;
}

}  // namespace qlczephra
