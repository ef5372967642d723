// Where the blocks of values that are made together, and mostly die together, find their memory.
//
// A tree of settings has many small blocks. The allocator's head for each is a quarter of their memory, and freeing and
// merging them one by one, as they come to lie about, is most of what replacing a tree costs. Blocks of an arena stand
// side by side in slabs of a page, each of which counts the blocks that live in it and is freed with the last of them.
//
// The price: a block that outlives its neighbours keeps their page. So an arena is for trees that are replaced whole,
// not for what comes and goes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qlczephra {

struct Slab;

// While it lives, the small blocks of values that its thread makes stand in its slabs; the values may outlive it, and
// may be freed on any thread. Not to be nested.
class BlockArena {
 public:
  BlockArena() noexcept { ofThread_ = this; }
  ~BlockArena();
  BlockArena(const BlockArena&) = delete;
  BlockArena& operator=(const BlockArena&) = delete;

  // Memory for a block: of the thread's arena, if it has one.
  [[nodiscard]] static void* allocate(std::size_t size);

 private:
  void* take(std::size_t size);
  void closeSlab() noexcept;

  Slab* slab_ = nullptr;
  std::size_t used_ = 0;      // bytes of the slab
  std::uint32_t blocks_ = 0;  // made in the slab

  static constinit thread_local BlockArena* ofThread_ __attribute__((tls_model("initial-exec")));
};

// Frees blocks; those of one slab that are freed one after the other cost one step on its count. For one thread.
class BlockRelease {
 public:
  BlockRelease() noexcept = default;
  ~BlockRelease() { flush(); }
  BlockRelease(const BlockRelease&) = delete;
  BlockRelease& operator=(const BlockRelease&) = delete;

  void free(void* block, std::size_t size) noexcept;

 private:
  void flush() noexcept;

  Slab* slab_ = nullptr;
  std::uint32_t blocks_ = 0;
};

}  // namespace qlczephra
