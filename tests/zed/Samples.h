// Blocks to pack.
#pragma once

#include <zed/ByteBuffer.h>

#include <random>
#include <string>

#include "support/Support.h"

using zed::ByteBuffer;

inline ByteBuffer randomBytes(std::size_t size) {
  std::mt19937 random(static_cast<unsigned>(size));
  ByteBuffer block;
  block.Resize(size);
  for (unsigned char& byte : block) byte = static_cast<unsigned char>(random());
  return block;
}

inline ByteBuffer prose(std::size_t size) {
  std::string text;
  while (text.size() < size)
    text += "the quick brown fox jumps over the lazy dog " + std::to_string(text.size() % 97);
  return ByteBuffer(text.data(), size);
}

inline std::string textOf(const ByteBuffer& block) { return {block.begin(), block.end()}; }

template <class Packer>
ByteBuffer packWith(const ByteBuffer& block) {
  Packer packer;
  EXPECT_TRUE(packer.Compress(block) && packer.IsComplete());
  return packer.Result();
}
