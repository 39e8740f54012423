#include <zed/Decompressor.h>

#include "Blocks.h"

using namespace std::string_literals;

TEST(Decompressor, RefusesWhatIsNotOneWholeBlock) {
  const std::string whole = textOf(pack(bytes(5000)));
  // Two members, padding, bytes behind that read as a larger size, the other container.
  std::vector blocks{whole + whole, whole + "\0\0\0\0"s, whole + "\x89\x13\0\0"s};
  blocks.push_back(textOf(pack<zed::Zip>(bytes(5000))));
  for (const std::string& size : {"\x87\x13\0\0"s, "\x89\x13\0\0"s, "\0\0\0\0"s, "\xFF\xFF\xFF\xFF"s})
    blocks.push_back(whole.substr(0, whole.size() - 4) + size);
  for (std::size_t length = 1; length < whole.size(); ++length) blocks.push_back(whole.substr(0, length));
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    const ByteBuffer block(blocks[i]);
    ByteBuffer out{1};
    zed::Decompressor unpacker;
    unpacker.Result() = out;
    HeapWatch watch;
    EXPECT_FALSE(unpacker.Decompress(block) || zed::IsCompleteBlock(block) || zed::DecompressGzip(block, out))
        << i;
    EXPECT_TRUE(out.IsEmpty() && unpacker.Result().IsEmpty()) << i;
    EXPECT_LE(watch.largest, std::max<std::size_t>(65536, block.Size() * 1032 + 64)) << i;
  }
}

TEST(Decompressor, ExchangesFilesWithGzip) {
  const support::ScopedFolder folder;
  for (const ByteBuffer& content : {bytes(300000), bytes(100000, true), ByteBuffer{'x'}}) {
    support::writeWhole(folder / "our.gz", textOf(pack(content)));
    const ByteBuffer theirs(support::runCommand("gzip -dc " + (folder / "our.gz") + " | gzip -9").output);
    zed::Decompressor unpacker;
    EXPECT_TRUE(unpacker.Decompress(theirs) && unpacker.Result() == content && zed::IsCompleteBlock(theirs));
  }
  const ByteBuffer nothing(support::runCommand("gzip </dev/null").output);
  ByteBuffer out{1};
  EXPECT_TRUE(zed::Decompressor().Decompress(nothing) && zed::IsCompleteBlock(nothing) &&
              zed::DecompressGzip(nothing, out) == 0 && out.IsEmpty());
}

TEST(Decompressor, KnowsContainersAndLimits) {
  const ByteBuffer zeros(std::string(2000000, '\0'));  // near the ratio that deflate can reach
  const ByteBuffer gzip = pack(zeros), zip = pack<zed::Zip>(zeros), longer(textOf(zip) + "x");
  for (const ByteBuffer* const block : {&gzip, &zip, &longer}) {
    for (const int bits : {15, 31, 47, -15, 1000}) {
      const bool isKnown = block != &longer && (bits == 47 || bits == (block == &gzip ? 31 : 15));
      EXPECT_EQ(zed::IsCompleteBlock(*block, bits), isKnown) << bits;
      for (const std::size_t maximum : {zed::noLimit, zeros.Size(), zeros.Size() - 1, std::size_t{0}}) {
        zed::Decompressor unpacker(bits, maximum);
        EXPECT_EQ(unpacker.Decompress(*block), isKnown && maximum >= zeros.Size()) << bits << ' ' << maximum;
      }
    }
  }
}

TEST(Decompressor, ServesOneBlockThatMayBeItsOwn) {
  const ByteBuffer packed = pack(bytes(9000));
  ByteBuffer both = packed;
  both.SetWipe(true);
  EXPECT_TRUE(zed::DecompressGzip(both, both) == 9000 && both.Wipe() && both == bytes(9000));
  zed::Decompressor unpacker;
  unpacker.Result() = ByteBuffer("?" + textOf(packed));
  EXPECT_TRUE(unpacker.Decompress(unpacker.Result().Data() + 1, packed.Size()));
  EXPECT_TRUE(!unpacker.Decompress(packed) && unpacker.Decompress(nullptr, 5) &&
              unpacker.GetResult(unpacker.Result()));
  EXPECT_TRUE(unpacker.GetResult(both = {}) && both.Wipe() && both == bytes(9000));
}
