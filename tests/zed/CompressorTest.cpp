#include <zed/Compressor.h>
#include <zed/Decompressor.h>
#include <zed/detail/Stream.h>

#include "HeapWatch.h"
#include "Samples.h"

namespace {

TEST(Compressor, PacksEveryBlockToItsEnd) {
  for (const bool isRandom : {true, false}) {
    for (std::size_t size = 1; size < 70000; size = size < 300 ? size + 1 : size * 3 / 2) {
      SCOPED_TRACE(testing::Message() << size << (isRandom ? " random" : " text"));
      const ByteBuffer block = isRandom ? randomBytes(size) : prose(size);
      const ByteBuffer packed = packWith<zed::GZip>(block);
      ByteBuffer out;
      ASSERT_EQ(zed::DecompressGzip(packed, out), size);
      ASSERT_EQ(out, block);
      const ByteBuffer zip = packWith<zed::Zip>(block);
      ASSERT_EQ(zed::DecompressGzip(zip, out), 0u);
      zed::Decompressor unzip(15);
      ASSERT_TRUE(unzip.Decompress(zip));
      ASSERT_EQ(unzip.Result(), block);
    }
  }
}

TEST(Compressor, IsReadByGzip) {
  const support::ScopedFolder folder;
  for (const ByteBuffer& block : {randomBytes(100000), prose(250000), ByteBuffer{'x'}}) {
    const ByteBuffer packed = packWith<zed::GZip>(block);
    support::writeWhole(folder / "block.gz", textOf(packed));
    EXPECT_EQ(support::runCommand("gzip -t '" + (folder / "block.gz") + "'").status, 0);
    EXPECT_TRUE(support::runCommand("gzip -dc '" + (folder / "block.gz") + "'").output == textOf(block));
  }
}

TEST(Compressor, ServesOneBlock) {
  const ByteBuffer block = prose(500);
  ByteBuffer out{1, 2, 3};
  zed::GZip gzip;
  EXPECT_TRUE(gzip.Compress(block.Data(), 0));
  EXPECT_TRUE(gzip.Compress(nullptr, 9));
  EXPECT_FALSE(gzip.Compress(block.Data(), 0x100000000));  // never read
  EXPECT_FALSE(gzip.IsComplete());
  EXPECT_TRUE(gzip.Result().IsEmpty());
  EXPECT_TRUE(gzip.Compress(block));
  const ByteBuffer first = gzip.Result();
  EXPECT_EQ(first.Capacity(), first.Size());
  EXPECT_FALSE(gzip.Compress(block));
  EXPECT_TRUE(gzip.Compress(ByteBuffer()));
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(gzip.GetResult(out));
    EXPECT_EQ(out, first);
  }
  EXPECT_TRUE(gzip.IsComplete());

  zed::Zip ended;
  EXPECT_TRUE(ended.GetResult(out));
  EXPECT_EQ(out.Size(), 0u);
  EXPECT_FALSE(ended.Compress(block));
  zed::Compressor refused(99);
  EXPECT_FALSE(refused.Compress(block));
  EXPECT_TRUE(refused.Compress(nullptr, 0) && refused.GetResult(out));
}

TEST(Compressor, WipesWorkAndResult) {
  const ByteBuffer block = prose(4000);
  for (const bool wipe : {true, false}) {
    ByteBuffer out;
    out.SetWipe(!wipe);
    HeapWatch watch;
    {
      zed::GZip gzip;
      gzip.Result().SetWipe(wipe);
      gzip.Compress(block);
      gzip.GetResult(gzip.Result());
      gzip.GetResult(out);
      EXPECT_EQ(out.Wipe(), !wipe);
      EXPECT_EQ(out, gzip.Result());
    }
    EXPECT_EQ(watch.FreedWithContent(), wipe ? 0u : 2u);
  }
}

// Blocks near 4 GiB go to zlib in pieces; small pieces walk the same way.
TEST(Compressor, HandsLongBlocksOverInPieces) {
  const ByteBuffer block = randomBytes(2000);
  for (const std::size_t piece : {1, 7, 499, 500, 2000}) {
    SCOPED_TRACE(piece);
    ByteBuffer packed;
    packed.Resize(3000);
    z_stream pack{};
    deflateInit2(&pack, -1, Z_DEFLATED, 31, 8, Z_DEFAULT_STRATEGY);
    std::span<const unsigned char> in = block;
    std::span<unsigned char> room = packed.Span();
    EXPECT_EQ(zed::detail::Run(pack, in, room, deflate, piece), Z_STREAM_END);
    deflateEnd(&pack);
    packed.Resize(3000 - room.size());

    for (const std::size_t space : {2000, 1999}) {
      ByteBuffer out;
      out.Resize(space);
      z_stream unpack{};
      inflateInit2(&unpack, 31);
      in = packed;
      room = out.Span();
      EXPECT_EQ(zed::detail::Run(unpack, in, room, inflate, piece),
                space == 2000 ? Z_STREAM_END : Z_BUF_ERROR);
      EXPECT_TRUE(room.empty());
      EXPECT_EQ(out == block, space == 2000);
      inflateEnd(&unpack);
    }
  }
}

}  // namespace
