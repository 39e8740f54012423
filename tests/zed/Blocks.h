// Blocks to pack, and a watch over those that come from the heap and go back.
#pragma once

#include <zed/Compressor.h>

#include <random>

#include "support/Support.h"

using zed::ByteBuffer;

// Arrays since its start: how many were freed with a byte that is not zero, and the largest asked for.
struct HeapWatch {
  HeapWatch() { freedWithContent = largest = 0; }
  static inline std::size_t freedWithContent = 0;
  static inline std::size_t largest = 0;
};

// Bytes that cannot be compressed, or that can.
inline ByteBuffer bytes(std::size_t size, bool isRandom = false) {
  std::string text(size, 'a');
  std::mt19937 random(static_cast<unsigned>(size));
  for (char& c : text) c = static_cast<char>(random() % (isRandom ? 256 : 3));
  return ByteBuffer(text);
}

inline std::string textOf(const ByteBuffer& block) { return {block.begin(), block.end()}; }

template <class Packer = zed::GZip>
ByteBuffer pack(const ByteBuffer& block) {
  Packer packer;
  EXPECT_TRUE(packer.Compress(block) && packer.IsComplete());
  return packer.Result();
}
