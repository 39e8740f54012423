// Blocks to pack, and a watch over those that come from the heap and go back.
#pragma once

#include <zed/Compressor.h>
#include <zed/Decompressor.h>

#include <random>

#include "support/Support.h"

using zed::ByteBuffer;

// Arrays on the heap: how many were freed with a byte that is not zero, and the size of the largest.
inline std::size_t freedWithContent = 0, largestArray = 0;

// Bytes that cannot be compressed, or that can.
inline ByteBuffer bytes(std::size_t size, bool isRandom = false) {
  std::mt19937 random(static_cast<unsigned>(size));
  ByteBuffer block;
  block.Resize(size);
  for (unsigned char& byte : block) byte = static_cast<unsigned char>(random() % (isRandom ? 256 : 3));
  return block;
}

template <class Packer = zed::GZip>
ByteBuffer pack(const ByteBuffer& block) {
  Packer packer;
  EXPECT_TRUE(packer.Compress(block) && packer.IsComplete());
  return packer.Result();
}

inline std::string textOf(const ByteBuffer& block) { return {block.begin(), block.end()}; }
