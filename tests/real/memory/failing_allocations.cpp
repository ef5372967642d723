#include "tests/real/memory/failing_allocations.h"

#include <pthread.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

bool fails() noexcept {
  using qlczephra::test::libraryAllocationsLeft;
  using qlczephra::test::threadAllocationsLeft;
  if (qlczephra::test::isHostsOwn) return false;
  if (threadAllocationsLeft >= 0) return threadAllocationsLeft-- == 0;
  if (libraryAllocationsLeft < 0) return false;
  char name[16] = {};
  pthread_getname_np(pthread_self(), name, sizeof name);
  return std::strncmp(name, "qlczephra-", 10) == 0 && libraryAllocationsLeft-- == 0;
}

}  // namespace

void* operator new(std::size_t size) {
  void* const memory = fails() ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return fails() ? nullptr : std::malloc(size == 0 ? 1 : size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
