// Watches the arrays that come from and go back to the heap; blocks of `new[]` are all that a buffer uses.
#pragma once

#include <cstddef>

class HeapWatch {
 public:
  HeapWatch() { s_freedWithContent = s_largest = 0; }
  // The arrays freed since the watch began with a byte in them that is not zero.
  std::size_t FreedWithContent() const { return s_freedWithContent; }
  // The largest array asked for since the watch began.
  std::size_t Largest() const { return s_largest; }

  static thread_local std::size_t s_freedWithContent;
  static thread_local std::size_t s_largest;
};
