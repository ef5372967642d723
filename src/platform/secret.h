// Texts that must not stay in memory once nobody uses them: tokens.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace qlczephra::platform {

// Overwrites the text, which is then empty.
inline void wipe(std::string& text) noexcept {
  explicit_bzero(text.data(), text.size());
  text.clear();
}

// A secret text, shared by all its copies and wiped when the last of them goes. One block holds no more than it.
class Secret {
 public:
  Secret() noexcept = default;  // empty
  explicit Secret(std::string text) : block_(Block::make(text)) { wipe(text); }
  Secret(const Secret& other) noexcept : block_(other.block_) {
    if (block_ != nullptr) block_->references.fetch_add(1, std::memory_order_relaxed);
  }
  Secret(Secret&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
  Secret& operator=(Secret other) noexcept {
    std::swap(block_, other.block_);
    return *this;
  }
  ~Secret() {
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): the analyzer does not follow the count
    if (block_ != nullptr && block_->references.fetch_sub(1, std::memory_order_acq_rel) == 1) Block::destroy(block_);
  }

  [[nodiscard]] std::string_view text() const noexcept {
    return block_ == nullptr ? std::string_view() : std::string_view(block_->bytes(), block_->size);
  }

 private:
  // The bytes follow it.
  struct Block {
    std::atomic<std::uint32_t> references;
    std::uint32_t size;

    [[nodiscard]] char* bytes() noexcept { return reinterpret_cast<char*>(this + 1); }
    static Block* make(std::string_view text) {
      if (text.size() > std::numeric_limits<std::uint32_t>::max()) throw std::bad_alloc();
      auto* const block =
          new (::operator new(sizeof(Block) + text.size())) Block{1, static_cast<std::uint32_t>(text.size())};
      std::memcpy(block->bytes(), text.data(), text.size());
      return block;
    }
    static void destroy(Block* block) noexcept {
      explicit_bzero(block->bytes(), block->size);
      block->~Block();
      ::operator delete(block);
    }
  };

  Block* block_ = nullptr;
};

}  // namespace qlczephra::platform
