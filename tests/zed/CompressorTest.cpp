#include <zed/Compressor.h>
#include <zed/detail/Stream.h>

#include "Blocks.h"

TEST(Compressor, PacksEveryBlockToItsEnd) {
  for (std::size_t size = 1; size < 140000; size = size < 600 ? size + 1 : size * 3 / 2) {
    const ByteBuffer block = bytes(size / 2 + 1, size % 2 != 0);
    ByteBuffer out;
    zed::Decompressor unzip(15);
    ASSERT_TRUE(zed::DecompressGzip(pack(block), out) == block.Size() && out == block) << size;
    ASSERT_TRUE(unzip.Decompress(pack<zed::Zip>(block)) && unzip.Result() == block) << size;
  }
}

TEST(Compressor, ServesOneBlock) {
  ByteBuffer out{1, 2, 3};
  zed::GZip gzip;
  freedWithContent = 0;
  gzip.Result().SetWipe(true);
  gzip.Result().Resize(99);
  EXPECT_TRUE(gzip.Compress("x", 0) && gzip.Compress(nullptr, 9));
  EXPECT_FALSE(gzip.Compress("x", 0x100000000) || gzip.IsComplete());  // refused before it is read
  EXPECT_TRUE(gzip.Compress("block", 5) && gzip.Result().Capacity() == gzip.Result().Size());
  EXPECT_TRUE(freedWithContent == 0 && !gzip.Compress("other", 5) && gzip.GetResult(out));
  EXPECT_TRUE(!gzip.Compress("other", 5) && gzip.GetResult(out) && !out.Wipe());
  EXPECT_EQ(out, pack(ByteBuffer(std::string("block"))));
  EXPECT_FALSE(zed::Compressor(99).Compress("x", 1));
}

// Blocks near 4 GiB go to zlib in pieces; small pieces walk the same way.
TEST(Compressor, HandsLongBlocksOverInPieces) {
  for (const std::size_t piece : {1u, 7u, 499u, 500u, 2000u}) {
    const ByteBuffer block = bytes(2000);
    ByteBuffer packed = bytes(3000), out = bytes(2000);
    std::span<const unsigned char> in = block.Span();
    std::span<unsigned char> room = packed.Span();
    z_stream stream{};
    deflateInit(&stream, -1);
    EXPECT_EQ(zed::detail::Run(stream, in, room, deflate, piece), Z_STREAM_END);
    deflateEnd(&stream);
    in = packed.Span().first(3000 - room.size());
    room = out.Span();
    inflateInit(&stream);
    EXPECT_EQ(zed::detail::Run(stream, in, room, inflate, piece), Z_STREAM_END);
    inflateEnd(&stream);
    EXPECT_EQ(out, block) << piece;
  }
}
