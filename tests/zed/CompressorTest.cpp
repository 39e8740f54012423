#include <zed/Compressor.h>
#include <zed/Decompressor.h>
#include <zed/detail/Stream.h>

#include "Blocks.h"

TEST(Compressor, PacksEveryBlockToItsEnd) {
  for (std::size_t size = 1; size < 70000; size = size < 300 ? size + 1 : size * 3 / 2) {
    for (const ByteBuffer& block : {randomBytes(size), prose(size)}) {
      ByteBuffer out;
      zed::Decompressor unzip(15);
      ASSERT_TRUE(zed::DecompressGzip(pack(block), out) == size && out == block) << size;
      ASSERT_TRUE(unzip.Decompress(pack<zed::Zip>(block)) && unzip.Result() == block) << size;
    }
  }
}

TEST(Compressor, ServesOneBlock) {
  ByteBuffer out{1, 2, 3};
  zed::GZip gzip;
  EXPECT_TRUE(gzip.Compress("x", 0) && gzip.Compress(nullptr, 9));
  EXPECT_FALSE(gzip.Compress("x", 0x100000000) || gzip.IsComplete());  // refused before it is read
  EXPECT_TRUE(gzip.Compress(prose(500)));
  const ByteBuffer first = gzip.Result();
  EXPECT_EQ(gzip.Result().Capacity(), first.Size());
  EXPECT_FALSE(gzip.Compress(prose(500)));
  EXPECT_TRUE(gzip.GetResult(out) && gzip.Compress(ByteBuffer()) && gzip.GetResult(out) && out == first);
  zed::Compressor refused(99);
  EXPECT_TRUE(refused.GetResult(out) && out.Size() == 0 && !refused.Compress("x", 1));
}

TEST(Compressor, WipesWorkAndResult) {
  for (const bool wipe : {true, false}) {
    ByteBuffer out;
    const ByteBuffer block = prose(4000);
    HeapWatch watch;
    {
      zed::GZip gzip;
      gzip.Result().SetWipe(wipe);
      EXPECT_TRUE(gzip.Compress(block) && gzip.GetResult(gzip.Result()) && gzip.GetResult(out));
      EXPECT_TRUE(!out.Wipe() && out == gzip.Result());
    }
    EXPECT_EQ(watch.freedWithContent, wipe ? 0u : 2u);
  }
}

// Blocks near 4 GiB go to zlib in pieces; small pieces walk the same way.
TEST(Compressor, HandsLongBlocksOverInPieces) {
  const ByteBuffer block = randomBytes(2000);
  for (const std::size_t piece : {1, 7, 499, 500, 2000}) {
    for (const std::size_t space : {2000, 1999}) {
      ByteBuffer packed = randomBytes(3000), out = randomBytes(space);
      z_stream deflating{}, inflating{};
      deflateInit2(&deflating, -1, Z_DEFLATED, 31, 8, Z_DEFAULT_STRATEGY);
      inflateInit2(&inflating, 31);
      std::span<const unsigned char> in = block.Span();
      std::span<unsigned char> room = packed.Span();
      EXPECT_EQ(zed::detail::Run(deflating, in, room, deflate, piece), Z_STREAM_END);
      in = packed.Span().first(3000 - room.size());
      room = out.Span();
      const int expected = space == 2000 ? Z_STREAM_END : Z_BUF_ERROR;
      EXPECT_EQ(zed::detail::Run(inflating, in, room, inflate, piece), expected) << piece;
      EXPECT_EQ(out, ByteBuffer(block.Data(), space));
      deflateEnd(&deflating);
      inflateEnd(&inflating);
    }
  }
}
