#include "benchmarks/read_path/allocations.h"

#include <cstdlib>
#include <new>

namespace {

constinit thread_local std::size_t allocations = 0;

}  // namespace

void* operator new(std::size_t size) {
  ++allocations;
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

std::size_t qlczephra::bench::allocationsOfThread() noexcept {
  return allocations;
}
