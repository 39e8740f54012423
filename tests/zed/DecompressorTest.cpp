#include "Blocks.h"

// What is unpacked and what is refused stands in tests/differential, tests/crash and fuzz/Unpack.cpp.

TEST(Decompressor, ForgedSizesTakeNoMemory) {
  std::string forged = textOf(pack(std::string(5000, 'a')));
  forged.replace(forged.size() - 4, 4, 4, '\xFF');
  ByteBuffer out{1};
  largestArray = 0;
  EXPECT_FALSE(zed::DecompressGzip(ByteBuffer(forged), out) || out.Data());
  EXPECT_LE(largestArray, 1032 * forged.size() + 64);
}

TEST(Decompressor, ServesOneBlockThatMayBeItsOwn) {
  const ByteBuffer content(std::string(9000, 'a'));
  ByteBuffer both = pack(textOf(content)), zip("?" + textOf(pack<zed::Zip>(textOf(content))));
  for (const int bits : {-15, 1000})
    EXPECT_FALSE(zed::IsCompleteBlock(both, bits) || zed::Decompressor(bits).Decompress(both));
  both.SetWipe(true), zip.SetWipe(true);
  EXPECT_TRUE(zed::DecompressGzip(both, both) == 9000 && both.Wipe() && both == content);
  zed::Decompressor unpacker(15);
  unpacker.Result() = zip;
  freedWithContent = 0;
  EXPECT_TRUE(unpacker.Decompress(unpacker.Result().Data() + 1, zip.Size() - 1) && freedWithContent == 0);
  EXPECT_TRUE(!unpacker.Decompress(zip) && unpacker.Decompress(nullptr, 5));
  EXPECT_TRUE(unpacker.GetResult(unpacker.Result()) && unpacker.GetResult(both = {}) && both == content);
}

TEST(Decompressor, ComparesABlockWithItsContent) {
  const std::string text(200'000, 'a');
  for (const std::size_t size : {1U, 65'536U, 200'000U}) {
    const ByteBuffer content(text.substr(0, size)), block = pack(textOf(content));
    EXPECT_TRUE(zed::IsBlockOf(block, content));
    for (const std::string& other : {text.substr(0, size - 1), text.substr(0, size) + 'a',
                                     text.substr(0, size - 1) + 'b', 'b' + text.substr(0, size - 1)})
      EXPECT_FALSE(zed::IsBlockOf(block, ByteBuffer(other)));
    EXPECT_FALSE(zed::IsBlockOf(ByteBuffer(textOf(block) + 'a'), content));
    EXPECT_FALSE(zed::IsBlockOf(block, content, 15));
  }
}
