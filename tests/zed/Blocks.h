// Blocks to pack, and a watch over those that come from the heap and go back.
#pragma once

#include <zed/Compressor.h>

#include <random>
#include <string>

#include "support/Support.h"

using zed::ByteBuffer;

// Arrays since its start: how many were freed with a byte in them that is not zero, and the largest asked for.
struct HeapWatch {
  HeapWatch() { freedWithContent = largest = 0; }
  static inline thread_local std::size_t freedWithContent = 0;
  static inline thread_local std::size_t largest = 0;
};

inline ByteBuffer randomBytes(std::size_t size) {
  std::string bytes(size, '\0');
  std::generate(bytes.begin(), bytes.end(), std::mt19937(static_cast<unsigned>(size)));
  return ByteBuffer(bytes);
}

inline ByteBuffer prose(std::size_t size) {
  std::string text;
  while (text.size() < size)
    text += "the quick brown fox jumps over the lazy dog" + std::to_string(text.size());
  return ByteBuffer(text.data(), size);
}

inline std::string textOf(const ByteBuffer& block) { return {block.begin(), block.end()}; }

template <class Packer = zed::GZip>
ByteBuffer pack(const ByteBuffer& block) {
  Packer packer;
  EXPECT_TRUE(packer.Compress(block) && packer.IsComplete());
  return packer.Result();
}
