#include "HeapWatch.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>

thread_local std::size_t HeapWatch::s_freedWithContent = 0;
thread_local std::size_t HeapWatch::s_largest = 0;

namespace {
constexpr std::size_t prefix = alignof(std::max_align_t);
}

void* operator new[](std::size_t size) {
  HeapWatch::s_largest = std::max(HeapWatch::s_largest, size);
  void* const memory = size < SIZE_MAX / 4 ? std::malloc(prefix + size) : nullptr;
  if (memory == nullptr) throw std::bad_alloc();
  auto* const block = static_cast<unsigned char*>(memory);
  *reinterpret_cast<std::size_t*>(block) = size;
  return block + prefix;
}

void operator delete[](void* data) noexcept {
  if (data == nullptr) return;
  auto* const bytes = static_cast<unsigned char*>(data);
  auto* const block = bytes - prefix;
  const std::size_t size = *reinterpret_cast<std::size_t*>(block);
  if (std::any_of(bytes, bytes + size, [](unsigned char byte) { return byte != 0; }))
    ++HeapWatch::s_freedWithContent;
  std::free(block);
}

void operator delete[](void* data, std::size_t) noexcept { operator delete[](data); }
