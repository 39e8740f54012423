#include "Heap.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> s_bytes{0}, s_peak{0};

}  // namespace

double bench::heapPeakOf(const std::function<void()>& work) {
  const std::size_t before = s_bytes;
  s_peak = before;
  work();
  return static_cast<double>(s_peak - before);
}

void* operator new(std::size_t size) {
  void* const block = std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  const std::size_t now = s_bytes += malloc_usable_size(block);
  if (now > s_peak) s_peak = now;
  return block;
}

void operator delete(void* block) noexcept {
  s_bytes -= malloc_usable_size(block);
  std::free(block);
}

void operator delete(void* block, std::size_t) noexcept { operator delete(block); }
