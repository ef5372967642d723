#include "benchmarks/state_memory/heap.h"

#include <malloc.h>
#include <cstdlib>
#include <new>

namespace {

constinit thread_local std::size_t held = 0;

std::size_t sizeOf(void* memory) noexcept {
  return malloc_usable_size(memory) + sizeof(std::size_t);
}

}  // namespace

void* operator new(std::size_t size) {
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  held += sizeOf(memory);
  return memory;
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  void* const memory = std::aligned_alloc(static_cast<std::size_t>(alignment), size);
  if (memory == nullptr) throw std::bad_alloc();
  held += sizeOf(memory);
  return memory;
}
void operator delete(void* memory) noexcept {
  if (memory != nullptr) held -= sizeOf(memory);
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  operator delete(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
  operator delete(memory);
}

std::size_t qlczephra::bench::heapOfThread() noexcept {
  return held;
}
