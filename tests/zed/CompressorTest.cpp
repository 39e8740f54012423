#include <zed/detail/Stream.h>

#include "Blocks.h"

// What is packed stands in tests/differential.

TEST(Compressor, ServesOneBlock) {
  ByteBuffer out{1, 2, 3};
  zed::GZip gzip;
  freedWithContent = 0;
  gzip.Result().SetWipe(true);
  gzip.Result().Resize(99);
  EXPECT_TRUE(gzip.Compress("x", 0) && gzip.Compress(nullptr, 9));
  EXPECT_FALSE(gzip.Compress("x", 0x100000000) || gzip.IsComplete());  // refused before it is read
  EXPECT_TRUE(gzip.Compress("block", 5) && gzip.Result().Capacity() == gzip.Result().Size());
  EXPECT_TRUE(freedWithContent == 0 && !gzip.Compress("other", 5) && gzip.GetResult(out) && !out.Wipe());
  EXPECT_FALSE(gzip.Compress("other", 5) || zed::Compressor(99).Compress("x", 1));
  EXPECT_EQ(out, pack("block"));
}

// Blocks near 4 GiB go to zlib in pieces; small pieces walk the same way.
TEST(Compressor, HandsLongBlocksOverInPieces) {
  std::string content;
  for (unsigned i = 0; i < 2000; ++i) content += static_cast<char>(i * i % 251 % 7);
  const ByteBuffer block(content);
  for (const std::size_t piece : {1u, 7u, 499u, 500u, 2000u}) {
    ByteBuffer packed, unpacked;
    packed.Resize(3000), unpacked.Resize(2000);
    z_stream packer{}, unpacker{};
    deflateInit(&packer, -1), inflateInit(&unpacker);
    std::span<const unsigned char> in = block.Span();
    std::span<unsigned char> room = packed.Span(), space = unpacked.Span();
    EXPECT_EQ(zed::detail::Run(packer, in, room, deflate, piece), Z_STREAM_END);
    in = packed.Span().first(3000 - room.size());
    EXPECT_EQ(zed::detail::Run(unpacker, in, space, inflate, piece), Z_STREAM_END);
    EXPECT_EQ(unpacked, block) << piece;
    deflateEnd(&packer), inflateEnd(&unpacker);
  }
}
