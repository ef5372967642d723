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

ReadCache::Found::Found(const Value* value) noexcept : isThere_(value != nullptr) {
  if (value == nullptr) return;
  if (hasNoBlock(*value)) {
    itself_ = *value;
  } else {
    inTree_ = value;
  }
}

ReadCache* ReadCache::made() noexcept {
  static thread_local Owner owner;
  if (ofThread_ == nullptr && owner.readsBefore < Owner::enoughReads && ++owner.readsBefore == Owner::enoughReads) {
    owner.cache.reset(new (std::nothrow) ReadCache);
    ofThread_ = owner.cache.get();
  }
  return ofThread_;
}

ReadCache::Found ReadCache::find(const Revision& revision, std::string_view path) noexcept {
  Found found(document::valueAt(revision.tree, path));
  ReadCache* const cache = made();
  if (cache == nullptr || path.size() > longestPath) return found;
  const std::uint64_t tag = tagOf(revision.number, path);
  Set& set = cache->sets_[tag % sets];
  const std::size_t way = set.oldest++ % ways;
  set.tags[way] = tag;
  ByText& entry = set.entries[way];
  entry.revision = revision.number;
  entry.found = found;
  entry.length = static_cast<std::uint32_t>(path.size());
  path.copy(entry.path.data(), path.size());
  return found;
}

ReadCache::Found ReadCache::find(const Revision& revision, const SettingPath& path) noexcept {
  Found found(document::valueAt(revision.tree, path.text()));
  ReadCache* const cache = made();
  if (cache != nullptr) cache->byId_[placeOf(revision.number, path)] = {revision.number, path.id(), found};
  return found;
}

}  // namespace qlczephra
