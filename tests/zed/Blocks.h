// Blocks to pack, and a watch over those that come from the heap and go back.
#pragma once

#include <zed/Compressor.h>
#include <zed/Decompressor.h>

#include <gtest/gtest.h>

#include <string>

using zed::ByteBuffer;

// Arrays on the heap: how many were freed with a byte that is not zero, and the size of the largest.
inline std::size_t freedWithContent = 0, largestArray = 0;

template <class Packer = zed::GZip>
ByteBuffer pack(const std::string& content) {
  Packer packer;
  EXPECT_TRUE(packer.Compress(content.data(), content.size()) && packer.IsComplete());
  return packer.Result();
}

inline std::string textOf(const ByteBuffer& block) { return {block.begin(), block.end()}; }
