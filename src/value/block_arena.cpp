#include "value/block_arena.h"

#include <atomic>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#define QLCZ_POISON 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QLCZ_POISON 1
#endif
#endif
#ifdef QLCZ_POISON
#include <sanitizer/asan_interface.h>
#endif

namespace qlczephra {

// The head of a slab, at an address that is a multiple of its size. Its blocks stand at addresses of which the
// remainder by 16 is 8; those that operator new gives have none, so that each block tells where it came from.
struct Slab {
  static constexpr std::size_t size = 4096;
  // Less than a page, so that the allocator's own head of the next slab fits between the two.
  static constexpr std::size_t usable = size - sizeof(void*);
  static constexpr std::size_t head = 8;
  static constexpr std::size_t granularity = 16;
  // Larger blocks are better off alone.
  static constexpr std::size_t largestBlock = 512;
  // Counted while the arena fills the slab, so that only closing it has to be atomic.
  static constexpr std::uint32_t open = 1U << 31U;

  std::atomic<std::uint32_t> blocks{open};

  static bool isOfSlab(const void* block) noexcept {
    return reinterpret_cast<std::uintptr_t>(block) % granularity == head;
  }
  static Slab* of(void* block) noexcept {
    auto* const byte = static_cast<unsigned char*>(block);
    return std::launder(reinterpret_cast<Slab*>(byte - reinterpret_cast<std::uintptr_t>(block) % size));
  }
  void subtract(std::uint32_t count) noexcept {
    if (blocks.fetch_sub(count, std::memory_order_acq_rel) != count) return;
#ifdef QLCZ_POISON
    __asan_unpoison_memory_region(this, usable);
#endif
    this->~Slab();
    ::operator delete(static_cast<void*>(this), std::align_val_t(size));
  }
};
static_assert(__STDCPP_DEFAULT_NEW_ALIGNMENT__ % Slab::granularity == 0, "operator new's blocks must be told apart");
static_assert(sizeof(Slab) <= Slab::head);

constinit thread_local BlockArena* BlockArena::ofThread_ = nullptr;

BlockArena::~BlockArena() {
  ofThread_ = nullptr;
  closeSlab();
}

void* BlockArena::allocate(std::size_t size) {
  return ofThread_ == nullptr || size > Slab::largestBlock ? ::operator new(size) : ofThread_->take(size);
}

void* BlockArena::take(std::size_t size) {
  size = (size + Slab::granularity - 1) / Slab::granularity * Slab::granularity;
  if (slab_ == nullptr || used_ + size > Slab::usable) {
    void* const memory = ::operator new(Slab::usable, std::align_val_t(Slab::size));
    closeSlab();
    slab_ = new (memory) Slab;
    used_ = Slab::head;
  }
  void* const block = reinterpret_cast<unsigned char*>(slab_) + used_;
  used_ += size;
  ++blocks_;
  return block;
}

void BlockArena::closeSlab() noexcept {
  if (slab_ != nullptr) slab_->subtract(Slab::open - blocks_);
  slab_ = nullptr;
  blocks_ = 0;
}

void BlockRelease::free(void* block, [[maybe_unused]] std::size_t size) noexcept {
  if (!Slab::isOfSlab(block)) {
    ::operator delete(block);
    return;
  }
#ifdef QLCZ_POISON
  __asan_poison_memory_region(block, size);
#endif
  Slab* const slab = Slab::of(block);
  if (slab != slab_) flush();
  slab_ = slab;
  ++blocks_;
}

void BlockRelease::flush() noexcept {
  if (slab_ != nullptr) slab_->subtract(blocks_);
  slab_ = nullptr;
  blocks_ = 0;
}

}  // namespace qlczephra
