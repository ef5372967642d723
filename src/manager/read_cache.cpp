#include "manager/read_cache.h"

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

const Value* ReadCache::findWithout(const Revision& revision, std::string_view path) noexcept {
  static thread_local Owner owner;
  if (ofThread_ == nullptr && owner.readsBefore < Owner::enoughReads && ++owner.readsBefore == Owner::enoughReads) {
    owner.cache.reset(new (std::nothrow) ReadCache);
    ofThread_ = owner.cache.get();
  }
  return document::valueAt(revision.tree, path);
}

const Value* ReadCache::remember(Set& set, std::uint64_t tag, const Revision& revision,
                                 std::string_view path) noexcept {
  const std::size_t way = set.oldest++ % ways;
  set.tags[way] = tag;
  ByText& entry = set.entries[way];
  entry.revision = revision.number;
  entry.value = document::valueAt(revision.tree, path);
  entry.length = static_cast<std::uint32_t>(path.size());
  path.copy(entry.path.data(), path.size());
  return entry.value;
}

const Value* ReadCache::remember(ById& entry, const Revision& revision, const SettingPath& path) noexcept {
  entry = {revision.number, path.id(), document::valueAt(revision.tree, path.text())};
  return entry.value;
}

}  // namespace qlczephra
