#include "Blocks.h"

using namespace std::string_literals;

TEST(Decompressor, RefusesWhatIsNotOneWholeBlock) {
  const std::string whole = textOf(pack(bytes(5000))), front = whole.substr(0, whole.size() - 4);
  // The other container, two members, padding, bytes behind that read as a larger size; then wrong sizes.
  std::vector blocks{textOf(pack<zed::Zip>(bytes(5000))), whole + whole, whole + "\0\0\0\0"s};
  blocks.push_back(whole + "\x89\x13\0\0"s);
  for (const char* size : {"\x87\x13\0", "\x89\x13\0", "\0\0\0", "\xFF\xFF\xFF\xFF"})
    blocks.push_back(front + std::string(size, 4));
  for (std::size_t length = 1; length < whole.size(); ++length) blocks.push_back(whole.substr(0, length));
  for (const std::string& text : blocks) {
    const ByteBuffer block(text);
    ByteBuffer out{1};
    zed::Decompressor unpacker;
    unpacker.Result() = out;
    largestArray = 0;
    EXPECT_FALSE(unpacker.Decompress(block) || zed::IsCompleteBlock(block)) << block.Size();
    EXPECT_FALSE(zed::DecompressGzip(block, out) || out.Data() || unpacker.Result().Data()) << block.Size();
    EXPECT_LE(largestArray, std::max<std::size_t>(65536, block.Size() * 1032 + 64));
  }
}

// Blocks of others stand in tests/differential.
TEST(Decompressor, TellsNothingFromFailure) {
  const ByteBuffer nothing(std::string("\x1F\x8B\b\0\0\0\0\0\0\x03\x03\0\0\0\0\0\0\0\0\0"s));
  ByteBuffer out{1};
  EXPECT_TRUE(zed::IsCompleteBlock(nothing) && zed::DecompressGzip(nothing, out) == 0 && out.IsEmpty());
}

TEST(Decompressor, KnowsContainersAndLimits) {
  const ByteBuffer zeros(std::string(2000000, '\0'));  // near the ratio that deflate can reach
  const ByteBuffer gzip = pack(zeros), zip = pack<zed::Zip>(zeros), longer(textOf(zip) + "x");
  for (const ByteBuffer* const block : {&gzip, &zip, &longer})
    for (const int bits : {15, 31, 47, -15, 1000}) {
      const bool isKnown = block != &longer && (bits == 47 || bits == (block == &gzip ? 31 : 15));
      EXPECT_EQ(zed::IsCompleteBlock(*block, bits), isKnown) << bits;
      for (const std::size_t maximum : {zed::noLimit, zeros.Size(), zeros.Size() - 1, std::size_t{0}})
        EXPECT_EQ(zed::Decompressor(bits, maximum).Decompress(*block), isKnown && maximum >= zeros.Size());
    }
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
