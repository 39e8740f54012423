#include <zed/ByteBuffer.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "HeapWatch.h"

using zed::ByteBuffer;

TEST(ByteBuffer, ResizesExactlyAndOnlyWhenItMust) {
  ByteBuffer buffer;
  EXPECT_TRUE(buffer.IsEmpty());
  buffer.Resize(0);
  EXPECT_TRUE(buffer.IsEmpty());
  buffer.Assign("abcd", 4);
  const unsigned char* const block = buffer.Data();
  buffer.Resize(1);
  buffer.Resize(4);
  EXPECT_EQ(buffer.Data(), block);
  EXPECT_EQ(buffer, ByteBuffer(std::string("abcd")));
  buffer.Resize(7);
  EXPECT_EQ(buffer.Capacity(), 7u);
  EXPECT_EQ(std::string(buffer.begin(), buffer.begin() + 4), "abcd");
  buffer.Assign(buffer.Data() + 1, 3);  // from within itself
  EXPECT_EQ(buffer, ByteBuffer({'b', 'c', 'd'}));
  buffer.Resize(0);
  EXPECT_FALSE(buffer.IsEmpty());
  EXPECT_THROW(buffer.Resize(~std::size_t{0}), std::bad_alloc);
  buffer.Clear();
  EXPECT_TRUE(buffer.IsEmpty() && buffer.Size() == 0 && buffer.Capacity() == 0);
}

TEST(ByteBuffer, IsMadeFromBytesAndReadAsARange) {
  const ByteBuffer expected{0x00, 0xFF, 0x7A};
  const std::vector<unsigned char> bytes(expected.begin(), expected.end());
  EXPECT_EQ(ByteBuffer(bytes), expected);
  EXPECT_EQ(ByteBuffer(std::as_bytes(std::span(bytes))), expected);
  EXPECT_EQ(ByteBuffer(std::string_view("\0\xFFz", 3)), expected);
  EXPECT_EQ(ByteBuffer(nullptr, 3), ByteBuffer());
  EXPECT_EQ(std::span<const unsigned char>(expected).size(), 3u);
}

TEST(ByteBuffer, LeavesNothingBehindWhenWiping) {
  for (const bool wipe : {true, false}) {
    SCOPED_TRACE(wipe);
    ByteBuffer kept;
    ByteBuffer secret;
    kept.SetWipe(wipe);
    secret.SetWipe(wipe);
    HeapWatch watch;
    secret.Assign("first", 5);
    secret.Resize(1);                       // the spare bytes still hold text
    secret.Resize(9);                       // frees the first block
    secret.Assign("something longer", 16);  // and the second
    ByteBuffer{std::as_const(secret)};      // a copy takes the flag over
    kept = secret;
    kept = std::move(secret);  // frees the copy
    ByteBuffer plain;
    plain = std::move(kept);  // takes the flag with the block
    plain.Clear();
    EXPECT_EQ(watch.FreedWithContent(), wipe ? 0u : 5u);
  }
  ByteBuffer zeros;
  zeros.SetWipe(true);
  zeros.Resize(300);
  EXPECT_EQ(std::count(zeros.begin(), zeros.end(), 0), 300);
}
