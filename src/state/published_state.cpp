#include "state/published_state.h"

#include "state/unique_number.h"

namespace qlczephra {

namespace {

void freeChain(Revision* revision) noexcept {
  while (revision != nullptr) delete std::exchange(revision, revision->nextReplaced);
}

}  // namespace

PublishedState::~PublishedState() {
  const platform::MutexLock lock(mutex_);
  delete revision_.load();
  freeChain(replaced_);
}

void PublishedState::publish(std::unique_ptr<Revision> next) noexcept {
  Revision* unread = nullptr;
  {
    const platform::MutexLock lock(mutex_);
    const std::uint64_t number = nextUniqueNumber();
    if (next != nullptr) next->number = number;
    number_.store(number, std::memory_order_release);
    if (Revision* const before = revision_.exchange(next.release(), std::memory_order_acq_rel)) {
      before->nextReplaced = std::exchange(replaced_, before);
    }
    unread = takeUnread();
  }
  freeChain(unread);
}

Revision* PublishedState::takeUnread() {
  if (replaced_ == nullptr || !orderReaders(platform_)) return nullptr;
  Revision* unread = nullptr;
  for (Revision** link = &replaced_; *link != nullptr;) {
    Revision* const revision = *link;
    if (isRead(revision)) {
      link = &revision->nextReplaced;
    } else {
      *link = revision->nextReplaced;
      revision->nextReplaced = unread;
      unread = revision;
    }
  }
  return unread;
}

}  // namespace qlczephra
