#include "Blocks.h"

using namespace std::string_literals;

// What is refused stands in tests/differential, tests/crash and fuzz/Unpack.cpp; here is what it costs.
TEST(Decompressor, ForgedSizesTakeNoMemory) {
  std::string forged = textOf(pack(bytes(5000)));
  forged.replace(forged.size() - 4, 4, 4, '\xFF');
  ByteBuffer out{1};
  largestArray = 0;
  EXPECT_FALSE(zed::DecompressGzip(ByteBuffer(forged), out) || out.Data());
  EXPECT_LE(largestArray, 1032 * forged.size() + 64);
}

// Blocks of others stand in tests/differential.
TEST(Decompressor, TellsNothingFromFailure) {
  const ByteBuffer nothing(std::string("\x1F\x8B\b\0\0\0\0\0\0\x03\x03\0\0\0\0\0\0\0\0\0"s));
  ByteBuffer out{1};
  EXPECT_TRUE(zed::IsCompleteBlock(nothing) && zed::DecompressGzip(nothing, out) == 0 && out.IsEmpty());
  for (const int bits : {-15, 1000})
    EXPECT_FALSE(zed::IsCompleteBlock(nothing, bits) || zed::Decompressor(bits).Decompress(nothing));
}

TEST(Decompressor, ServesOneBlockThatMayBeItsOwn) {
  const ByteBuffer content(std::string(9000, 'a'));
  ByteBuffer both = pack(content), zip("?" + textOf(pack<zed::Zip>(content)));
  both.SetWipe(true), zip.SetWipe(true);
  EXPECT_TRUE(zed::DecompressGzip(both, both) == 9000 && both.Wipe() && both == content);
  zed::Decompressor unpacker(15);
  unpacker.Result() = zip;
  freedWithContent = 0;
  EXPECT_TRUE(unpacker.Decompress(unpacker.Result().Data() + 1, zip.Size() - 1) && freedWithContent == 0);
  EXPECT_TRUE(!unpacker.Decompress(zip) && unpacker.Decompress(nullptr, 5));
  EXPECT_TRUE(unpacker.GetResult(unpacker.Result()) && unpacker.GetResult(both = {}) && both == content);
}
